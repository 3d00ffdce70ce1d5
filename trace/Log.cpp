#include "trace/Log.h"

#include "trace/EtwWriter.h"
#include "trace/TraceSettings.h"

#include <type_traits>
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

static_assert(std::is_trivially_destructible_v<Category>, "a category must outlive every static destructor");

Category::Category(const char* name) : log(Base::MakeShared<Log>(name))
{
}

} // namespace Trace
