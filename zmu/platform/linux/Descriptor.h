#pragma once

#include <unistd.h>

namespace zmu {

/// A file descriptor that is closed with the scope.
struct Descriptor {
    int number = -1;

    explicit Descriptor(int opened) : number(opened) {}
    ~Descriptor()
    {
        if (number >= 0)
            close(number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
};

} // namespace zmu
