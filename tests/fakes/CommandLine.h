#pragma once

#include <initializer_list>
#include <string>
#include <vector>

namespace fakes {

// Arguments as main() gets them, the program's name put before them.
class CommandLine {
public:
    CommandLine(std::initializer_list<std::string> arguments) : _arguments(arguments) {
        _arguments.insert(_arguments.begin(), "updater");
        for (std::string& argument : _arguments) {
            _pointers.push_back(argument.data());
        }
        _pointers.push_back(nullptr);
    }

    CommandLine(const CommandLine& other) = delete;
    CommandLine& operator=(const CommandLine& other) = delete;

    int argc() const { return static_cast<int>(_arguments.size()); }

    char** argv() { return _pointers.data(); }

private:
    std::vector<std::string> _arguments;
    std::vector<char*> _pointers;
};

} // namespace fakes
