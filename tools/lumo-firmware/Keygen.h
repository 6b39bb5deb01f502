#pragma once

#include <string>

namespace lumo {

// Makes an Ed25519 key pair: <name>.pem, which only its owner can read, and <name>.pub.pem. Unless forced to,
// it replaces neither. Returns the key's id. Throws ToolError.
std::string makeKeyPair(const std::string& name, bool force);

} // namespace lumo
