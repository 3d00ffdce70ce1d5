#pragma once

// The TDH the viewer decodes events with. Records read by the system's consumer are
// decoded by the platform's TDH (Platform::Tdh(): tdh.dll, or a test's emulator); records
// read by the built-in reader by the built-in decoder (Platform::BuiltinTdh()), since tdh.dll
// may be the very thing that cannot serve. VIEW chooses once per run, before it loads the
// manifest; every decoding call of the viewer goes through this choice.

#include "platform/TdhApi.h"

namespace Viewer {

// The built-in decoder while a ScopedDecodingTdh for it lives, else Platform::Tdh().
const Platform::TdhApi& DecodingTdh();

// Decodes with the given table for as long as it lives; the table must outlive it. Used
// on the thread that runs the viewer, before the consumer starts delivering.
class ScopedDecodingTdh {
public:
    explicit ScopedDecodingTdh(const Platform::TdhApi& tdh) noexcept;
    ScopedDecodingTdh(const ScopedDecodingTdh&) = delete;
    ScopedDecodingTdh& operator=(const ScopedDecodingTdh&) = delete;
    ~ScopedDecodingTdh();

private:
    const Platform::TdhApi* previous;
};

} // namespace Viewer
