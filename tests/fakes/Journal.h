#pragma once

#include <string>
#include <vector>

namespace fakes {

// What happened, in order, one entry an event: shared by all doubles of a test.
using Journal = std::vector<std::string>;

} // namespace fakes
