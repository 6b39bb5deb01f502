#pragma once

#include <memory>

#include "platform/linux/graphics/Output.h"

namespace lumo {

// Draws into memory that nobody sees, with whatever OpenGL ES the machine has, a software rasteriser
// included. Needs neither a display server nor a graphics card.
//
// EGL stays initialised until the process ends: its display is shared by all users in the process, and
// terminating it would take it from the others.
class OutputHeadless final : public Output {
public:
    explicit OutputHeadless(Size size);
    ~OutputHeadless() override;

    void open() override;
    void close() override;
    void makeContext() override;
    void dropContext() override;
    Shown present() override;

    bool attend() override { return true; }

    int damage() const override { return 0; }

    Size size() const override { return _size; }

    std::set<int> rates() const override { return {50, 60}; }

    void setRate(int) override {}

private:
    const Size _size;
    // EGL's handles, which are pointers; null when there is none.
    void* _display = nullptr;
    void* _config = nullptr;
    void* _context = nullptr;
    void* _surface = nullptr;
};

} // namespace lumo
