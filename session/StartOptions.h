#pragma once

// What the front end hands to StartLog, filled from the START options.

#include <cstdint>
#include <string>

namespace Session {

struct StartOptions {
    std::wstring file;       // the .etl path; at most 259 characters fit the session block
    uint32_t maxSizeMb = 0;  // 0: unlimited (sequential only; circular defaults to 1024)
    bool circular = true;    // false with /sequential
    bool callstacks = false; // capture a stack with every product event
    uint8_t level = 18;      // ETW level: 18 debug, 5 verbose, 4 info, 3 warning, 2 error
    uint32_t bufferKb = 512; // per-buffer size in KB
    bool processes = false;  // Kernel-Process keyword 0x10
    bool threads = false;    // Kernel-Process keyword 0x20
    bool images = false;     // Kernel-Process keyword 0x40
};

} // namespace Session
