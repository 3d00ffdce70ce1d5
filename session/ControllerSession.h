#pragma once

// The session this process has just started with StartTraceW, owned until it is known
// to be wanted: START keeps it once the product's provider is enabled (the session then
// outlives the process and later commands find it by name), and stops it when that
// enable fails. Should anything unexpected end START in between, the destructor stops
// it, so no half-configured session is left recording.

#include "session/SessionProperties.h"

#include <windows.h>

namespace Session {

class ControllerSession {
public:
    // Takes the handle StartTraceW returned and the block it was started with; the block
    // must outlive this object and receives the final statistics of a stop.
    ControllerSession(TRACEHANDLE handle, SessionProperties& properties) noexcept;
    ControllerSession(const ControllerSession&) = delete;
    ControllerSession& operator=(const ControllerSession&) = delete;
    ~ControllerSession();

    TRACEHANDLE Handle() const noexcept { return handle; }

    // ControlTraceW(handle, no name, the block, EVENT_TRACE_CONTROL_STOP). The session is
    // given up whatever the result, so the destructor never tries a second time.
    ULONG Stop() noexcept;

    // Leaves the session running past this object.
    void Keep() noexcept { handle = 0; }

private:
    TRACEHANDLE handle;
    SessionProperties& properties;
};

} // namespace Session
