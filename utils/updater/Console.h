#pragma once

#include <ostream>
#include <string>

namespace updater {

// The command's lines on standard output and standard error. Each is flushed as it is printed, so that a
// reader of a pipe or file sees it before the wait or the work that follows. A stream that is closed or full
// loses its lines and disturbs nothing else. Main thread.
class Console {
public:
    // The streams must outlive the console.
    Console(std::ostream& out, std::ostream& err);

    // One line, without its line end, on standard output.
    void line(const std::string& text);
    // One line, without its line end, on standard error: warnings and errors.
    void error(const std::string& text);
    // Flushes standard error, then standard output.
    void flush();

private:
    std::ostream& _out;
    std::ostream& _err;
};

} // namespace updater
