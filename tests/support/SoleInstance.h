#pragma once

// Marks the one live test double of its kind. Platform tables hold plain function
// pointers, so a double's thunks find it through a pointer of its own file; this sets
// that pointer for the double's lifetime and refuses a second double while one lives,
// since the second would silently take the calls the first was asked to record.
//
//   ConsoleEmulator* active = nullptr;
//   ConsoleEmulator::ConsoleEmulator() : sole(active, *this, "a ConsoleEmulator") { ... }

#include <stdexcept>
#include <string>

namespace Testing {

template <typename Double> class SoleInstance {
public:
    SoleInstance(Double*& slot, Double& self, const char* what) : slot(slot)
    {
        if (slot != nullptr) {
            throw std::logic_error(std::string(what) + " is already installed");
        }
        slot = &self;
    }
    SoleInstance(const SoleInstance&) = delete;
    SoleInstance& operator=(const SoleInstance&) = delete;
    ~SoleInstance() { slot = nullptr; }

private:
    Double*& slot;
};

} // namespace Testing
