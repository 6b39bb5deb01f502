#include "utils/updater/Console.h"

namespace updater {

namespace {

void print(std::ostream& stream, const std::string& text) {
    stream.clear(); // a line that was lost, on a full disk, must not silence those after it
    stream << text << '\n' << std::flush;
}

} // namespace

Console::Console(std::ostream& out, std::ostream& err) : _out(out), _err(err) {}

void Console::line(const std::string& text) {
    print(_out, text);
}

void Console::error(const std::string& text) {
    print(_err, text);
}

void Console::flush() {
    _err.flush();
    _out.flush();
}

} // namespace updater
