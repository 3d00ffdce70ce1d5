#include "tests/support/ChildProcess.h"

#include <windows.h>

#include <stdexcept>
#include <thread>

namespace Testing {

namespace {

struct Pipe {
    HANDLE read = nullptr;
    HANDLE write = nullptr;

    Pipe()
    {
        SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        if (!::CreatePipe(&read, &write, &inherit, 0)) {
            throw std::runtime_error("CreatePipe failed");
        }
        ::SetHandleInformation(read, HANDLE_FLAG_INHERIT, 0);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe()
    {
        CloseWrite();
        ::CloseHandle(read);
    }
    void CloseWrite()
    {
        if (write != nullptr) {
            ::CloseHandle(write);
            write = nullptr;
        }
    }
};

std::string Drain(HANDLE read)
{
    std::string data;
    char buffer[4096];
    DWORD count = 0;
    while (::ReadFile(read, buffer, sizeof(buffer), &count, nullptr) && count > 0) {
        data.append(buffer, count);
    }
    return data;
}

// Quotes an argument the way CommandLineToArgvW and the C runtime read it back.
std::wstring Quote(const std::wstring& argument)
{
    if (!argument.empty() && argument.find_first_of(L" \t\"") == std::wstring::npos) {
        return argument;
    }
    std::wstring quoted = L"\"";
    size_t backslashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        if (c == L'"') {
            quoted.append(backslashes * 2 + 1, L'\\');
        } else {
            quoted.append(backslashes, L'\\');
        }
        backslashes = 0;
        quoted.push_back(c);
    }
    quoted.append(backslashes * 2, L'\\');
    quoted.push_back(L'"');
    return quoted;
}

} // namespace

std::filesystem::path SiblingExecutable(const wchar_t* fileName)
{
    wchar_t self[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    return std::filesystem::path(self).parent_path() / fileName;
}

ChildResult RunChildWithArgv0(const std::filesystem::path& program, const std::wstring& argv0,
                              const std::vector<std::wstring>& arguments)
{
    std::wstring commandLine = Quote(argv0);
    for (const std::wstring& argument : arguments) {
        commandLine += L" " + Quote(argument);
    }

    Pipe out;
    Pipe err;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = nullptr;
    startup.hStdOutput = out.write;
    startup.hStdError = err.write;

    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(program.wstring().c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                          &startup, &process)) {
        throw std::runtime_error("CreateProcessW failed");
    }
    out.CloseWrite();
    err.CloseWrite();

    ChildResult result;
    std::thread errorReader([&] { result.err = Drain(err.read); });
    result.out = Drain(out.read);
    errorReader.join();

    ::WaitForSingleObject(process.hProcess, INFINITE);
    DWORD exitCode = 0;
    ::GetExitCodeProcess(process.hProcess, &exitCode);
    result.exitCode = exitCode;
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
    return result;
}

ChildResult RunChild(const std::filesystem::path& program, const std::vector<std::wstring>& arguments)
{
    return RunChildWithArgv0(program, program.wstring(), arguments);
}

} // namespace Testing
