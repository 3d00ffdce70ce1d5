#include "trace/Log.h"

#include "trace/EtwWriter.h"
#include "trace/TraceSettings.h"

#include <utility>

namespace Trace {

Log::Log(std::string name) : name(std::move(name))
{
}

Log::~Log()
{
    name.clear();
}

bool Log::IsEnabled(LogLevel level) const
{
    EnsureConfigured(0);
    if (Settings().level >= static_cast<int32_t>(level)) {
        return true;
    }
    return IsEventEnabled(OperationalEventBit(level));
}

Category::Category(const char* name) : log(Base::MakeShared<Log>(name))
{
}

} // namespace Trace
