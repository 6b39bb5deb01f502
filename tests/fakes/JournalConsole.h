#pragma once

#include <ostream>
#include <sstream>
#include <string>

#include "tests/fakes/Journal.h"
#include "utils/updater/Console.h"

namespace fakes {

// A console whose lines enter the journal when they are flushed, after "out: " or "err: ". An explicit flush
// of the whole console enters as "flush err", "flush out".
class JournalConsole {
public:
    explicit JournalConsole(Journal& journal) : _outBuffer(journal, "out"), _errBuffer(journal, "err") {}

    updater::Console& console() { return _console; }

private:
    class Buffer : public std::stringbuf {
    public:
        Buffer(Journal& journal, const std::string& name) : _journal(journal), _name(name) {}

        int sync() override {
            std::string text = str();
            str("");
            if (text.empty()) {
                _journal.push_back("flush " + _name);
            } else {
                _journal.push_back(_name + ": " + text.substr(0, text.size() - 1) +
                                   (text.ends_with('\n') ? "" : " [no line end]"));
            }
            return 0;
        }

    private:
        Journal& _journal;
        std::string _name;
    };

    Buffer _outBuffer;
    Buffer _errBuffer;
    std::ostream _out{&_outBuffer};
    std::ostream _err{&_errBuffer};
    updater::Console _console{_out, _err};
};

} // namespace fakes
