#pragma once

// A named trace source. Messages are constant texts; everything variable travels in
// fields, so that a message can be found by its text and its fields read by key:
//
//   registryLog->Error("Failed to open subkey", Trace::Field{"errorCode", code},
//                      Trace::Field{"subkey", subkey}, Trace::Field{"_handle", key});

#include "base/NeverDestroyed.h"
#include "base/Shareable.h"
#include "trace/Field.h"
#include "trace/LogLevel.h"
#include "trace/MessageWriter.h"

#include <string>
#include <string_view>

namespace Trace {

class Log : public Base::Shareable {
public:
    explicit Log(std::string name);
    ~Log() override;

    const std::string& Name() const noexcept { return name; }

    // True when a message of this level would reach any sink: the console and file
    // threshold, or else an ETW session listening for the level's event.
    bool IsEnabled(LogLevel level) const;

    template <typename... T> void Emit(LogLevel level, std::string_view message, const Field<T>&... fields) const
    {
        static_assert(sizeof...(T) <= 8, "a trace message carries at most eight fields");
        if (!IsEnabled(level)) {
            return;
        }
        BuildLinePrefix(level, name);
        RenderFields(FieldStream(), fields...);
        WriteMessage(level, name, message);
    }

    template <typename... T> void Fatal(std::string_view message, const Field<T>&... fields) const
    {
        Emit(LogLevel::Fatal, message, fields...);
    }
    template <typename... T> void Error(std::string_view message, const Field<T>&... fields) const
    {
        Emit(LogLevel::Error, message, fields...);
    }
    template <typename... T> void Warning(std::string_view message, const Field<T>&... fields) const
    {
        Emit(LogLevel::Warning, message, fields...);
    }
    template <typename... T> void Info(std::string_view message, const Field<T>&... fields) const
    {
        Emit(LogLevel::Info, message, fields...);
    }
    template <typename... T> void Verbose(std::string_view message, const Field<T>&... fields) const
    {
        Emit(LogLevel::Verbose, message, fields...);
    }
    template <typename... T> void Debug(std::string_view message, const Field<T>&... fields) const
    {
        Emit(LogLevel::Debug, message, fields...);
    }

private:
    std::string name;
};

// The static trace source of one component, created during static initialisation and
// kept until the process ends: the category's own reference is never released, and the
// category has no destructor, so a message logged while the runtime destroys static
// objects at exit (from a crash handler, or another object's destructor) still finds it.
class Category {
public:
    explicit Category(const char* name);

    const Log* operator->() const noexcept { return log->Get(); }
    const Log& operator*() const noexcept { return **log; }

private:
    Base::NeverDestroyed<Base::SharedRef<Log>> log;
};

} // namespace Trace
