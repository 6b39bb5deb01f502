#pragma once

// The second that the code under test reads from time(): it stands still until a case moves it.
namespace TestClock {

void advanceSeconds(int seconds);

} // namespace TestClock
