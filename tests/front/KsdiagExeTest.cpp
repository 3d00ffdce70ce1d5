// ksdiag.exe itself, run as a child process: every front-end path that needs no ETW
// session, with the exact bytes of both streams and the exit code. The C runtime writes
// "\r\n" for a line break on a redirected stream, as it does on Windows.
//
// Every test holds the arguments-keys lock: ksdiag.exe reads its registry arguments
// keys, and a test that writes them must not change what another one sees.

#include "Version.h"
#include "tests/front/ArgumentsKeyValue.h"
#include "tests/front/ExpectedHelp.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/NamedLock.h"
#include "tests/support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

const std::string banner = "Kestrova Diagnostics Utility, Version " KSDIAG_VERSION_TEXT "\r\n\r\n";

// argv[0] as a user might type it: no folder, no extension, mixed case.
const std::wstring typedProgram = L"KsDiag";
const std::string typedProgramNarrow = "KsDiag";

Testing::ChildResult RunKsdiag(const std::vector<std::wstring>& arguments)
{
    return Testing::RunChildWithArgv0(Testing::SiblingExecutable(L"ksdiag.exe"), typedProgram, arguments);
}

std::string HelpHint()
{
    return "Run " + typedProgramNarrow + " /? for help.\r\n";
}

std::string StartLevelFailure()
{
    return "Unrecognised level '\x12'. " + HelpHint();
}

std::string ViewLevelFailure()
{
    return "Unrecognised level. " + HelpHint();
}

// The exit code and the bytes of both streams, exactly.
void ExpectResult(const Testing::ChildResult& result, uint32_t exitCode, const std::string& out, const std::string& err)
{
    EXPECT_EQ(exitCode, result.exitCode);
    EXPECT_EQ(out, result.out);
    EXPECT_EQ(err, result.err);
}

class KsdiagExe : public testing::Test {
protected:
    Testing::NamedLock lock{Testing::ArgumentsKeyLockName};
};

} // namespace

TEST_F(KsdiagExe, NoArgumentsPrintsBannerAndInsufficientArguments)
{
    const Testing::ChildResult result = RunKsdiag({});
    ExpectResult(result, 0xFFFFFFFFu, banner, "Insufficient arguments. " + HelpHint());
}

TEST_F(KsdiagExe, ProgramIsEchoedExactlyAsTyped)
{
    const Testing::ChildResult result =
        Testing::RunChildWithArgv0(Testing::SiblingExecutable(L"ksdiag.exe"), L"..\\Some Folder\\KSDIAG.EXE", {});
    EXPECT_EQ(0xFFFFFFFFu, result.exitCode);
    EXPECT_EQ("Insufficient arguments. Run ..\\Some Folder\\KSDIAG.EXE /? for help.\r\n", result.err);
}

TEST_F(KsdiagExe, NoLogoAloneIsAnUnknownOptionWithoutBanner)
{
    const Testing::ChildResult result = RunKsdiag({L"/nologo"});
    ExpectResult(result, 1u, "", "Unknown option \"/nologo\". " + HelpHint());
}

TEST_F(KsdiagExe, HelpPrintsBannerAndUsageNamingTheExecutable)
{
    const Testing::ChildResult result = RunKsdiag({L"/?"});
    ExpectResult(result, 0u, banner + Testing::JoinLines(Testing::ExpectedHelpLines("ksdiag.exe"), "\r\n"), "");
}

TEST_F(KsdiagExe, UnknownWordIsReportedLowerCased)
{
    const Testing::ChildResult result = RunKsdiag({L"Frobnicate"});
    ExpectResult(result, 1u, banner, "Unknown option \"frobnicate\". " + HelpHint());
}

TEST_F(KsdiagExe, CommandWordAfterAnOptionIsNotFound)
{
    const Testing::ChildResult result = RunKsdiag({L"/level:info", L"view"});
    ExpectResult(result, 1u, banner, "Unknown option \"/level:info\". " + HelpHint());
}

TEST_F(KsdiagExe, StartWithCapitalLevelWritesTheRawLevelByte)
{
    const Testing::ChildResult result = RunKsdiag({L"START", L"/level:INFO"});
    ExpectResult(result, 1u, banner + StartLevelFailure(), "");
}

TEST_F(KsdiagExe, CommandWordIsMatchedInAnyCase)
{
    for (const wchar_t* word : {L"Start", L"start", L"sTART"}) {
        SCOPED_TRACE(word);
        const Testing::ChildResult result = RunKsdiag({word, L"/level:Debug", L"/nologo"});
        ExpectResult(result, 1u, StartLevelFailure(), "");
    }
}

TEST_F(KsdiagExe, ViewWithoutLevelFails)
{
    const Testing::ChildResult result = RunKsdiag({L"VIEW"});
    ExpectResult(result, 1u, banner + ViewLevelFailure(), "");
}

TEST_F(KsdiagExe, LiveWithCapitalLevelFails)
{
    const Testing::ChildResult result = RunKsdiag({L"Live", L"/level:ERROR"});
    ExpectResult(result, 1u, banner + ViewLevelFailure(), "");
}

TEST_F(KsdiagExe, LevelFromEnvironmentVariable)
{
    // Without the variable START would record at its default level and start a session.
    Testing::ScopedEnvironment level("KESTROVA_LEVEL", "Warning");
    const Testing::ChildResult result = RunKsdiag({L"start"});
    ExpectResult(result, 1u, banner + StartLevelFailure(), "");
}

TEST_F(KsdiagExe, CommandLineLevelWinsOverEnvironmentVariable)
{
    Testing::ScopedEnvironment level("KESTROVA_LEVEL", "info");
    const Testing::ChildResult result = RunKsdiag({L"VIEW", L"/level:INFO"});
    EXPECT_EQ(1u, result.exitCode);
    EXPECT_EQ(banner + ViewLevelFailure(), result.out);
}

TEST_F(KsdiagExe, NoLogoFromEnvironmentVariable)
{
    Testing::ScopedEnvironment noLogo("KESTROVA_NOLOGO", "1");
    const Testing::ChildResult result = RunKsdiag({L"VIEW"});
    EXPECT_EQ(1u, result.exitCode);
    EXPECT_EQ(ViewLevelFailure(), result.out);
}

TEST_F(KsdiagExe, LevelFromTheRegistryArgumentsKey)
{
    const Testing::ArgumentsKeyValue value(L"ksdiag", L"level", L"ERROR");
    const Testing::ChildResult result = RunKsdiag({L"START"});
    ExpectResult(result, 1u, banner + StartLevelFailure(), "");
}

TEST_F(KsdiagExe, NoLogoFromTheRegistryArgumentsKey)
{
    const Testing::ArgumentsKeyValue value(L"ksdiag", L"nologo", 1);
    const Testing::ChildResult result = RunKsdiag({});
    ExpectResult(result, 0xFFFFFFFFu, "", "Insufficient arguments. " + HelpHint());
}

TEST_F(KsdiagExe, CarriesTheAdministratorManifest)
{
    const std::wstring path = Testing::SiblingExecutable(L"ksdiag.exe").wstring();
    HMODULE image = ::LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    ASSERT_NE(nullptr, image);
    // The manifest the loader reads at process creation: resource 1 of type 24 (the wide
    // forms of CREATEPROCESS_MANIFEST_RESOURCE_ID and RT_MANIFEST).
    const HRSRC found =
        ::FindResourceW(image, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(24)); // RT_MANIFEST, in its wide form
    ASSERT_NE(nullptr, found);
    const char* data = static_cast<const char*>(::LockResource(::LoadResource(image, found)));
    const std::string manifest(data, ::SizeofResource(image, found));
    ::FreeLibrary(image);
    EXPECT_NE(std::string::npos, manifest.find("<requestedExecutionLevel level=\"requireAdministrator\""));
}

// The fixed file information of ksdiag.exe's VERSIONINFO; fails the test when missing.
VS_FIXEDFILEINFO KsdiagFixedFileInfo()
{
    const std::wstring path = Testing::SiblingExecutable(L"ksdiag.exe").wstring();
    DWORD ignored = 0;
    std::vector<unsigned char> resource(::GetFileVersionInfoSizeW(path.c_str(), &ignored));
    VS_FIXEDFILEINFO fixed{};
    void* value = nullptr;
    UINT length = 0;
    if (resource.empty() ||
        !::GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(resource.size()), resource.data()) ||
        !::VerQueryValueW(resource.data(), L"\\", &value, &length) || length < sizeof(fixed)) {
        ADD_FAILURE() << "ksdiag.exe carries no fixed file information";
        return fixed;
    }
    std::memcpy(&fixed, value, sizeof(fixed));
    return fixed;
}

TEST_F(KsdiagExe, CarriesTheProductFileVersion)
{
    const VS_FIXEDFILEINFO fixed = KsdiagFixedFileInfo();
    EXPECT_EQ(static_cast<DWORD>(KSDIAG_VERSION_MAJOR << 16 | KSDIAG_VERSION_MINOR), fixed.dwFileVersionMS);
    EXPECT_EQ(static_cast<DWORD>(KSDIAG_VERSION_PATCH << 16 | KSDIAG_VERSION_TWEAK), fixed.dwFileVersionLS);
}

// The banner's build-time constant and the file's VERSIONINFO come from one CMake
// number; the banner ksdiag.exe prints names the version its own file carries.
TEST_F(KsdiagExe, BannerNamesTheVersionTheFileCarries)
{
    const VS_FIXEDFILEINFO fixed = KsdiagFixedFileInfo();
    const std::string fileVersion =
        std::to_string(HIWORD(fixed.dwFileVersionMS)) + "." + std::to_string(LOWORD(fixed.dwFileVersionMS)) + "." +
        std::to_string(HIWORD(fixed.dwFileVersionLS)) + "." + std::to_string(LOWORD(fixed.dwFileVersionLS));
    const Testing::ChildResult result = RunKsdiag({});
    EXPECT_EQ("Kestrova Diagnostics Utility, Version " + fileVersion + "\r\n\r\n", result.out);
}

TEST_F(KsdiagExe, JsonKeepsStandardOutputForJsonAlone)
{
    // The banner and every failure go to standard error; standard output stays empty.
    const Testing::ChildResult missing =
        RunKsdiag({L"VIEW", L"/format:json", L"/level:info", L"/reader:builtin", L"/file:no-such-log-for-json.etl"});
    ExpectResult(missing, 1, "",
                 banner + "Unable to find file \"no-such-log-for-json.etl\".\r\nView log failed with error 2.\r\n");
    const Testing::ChildResult level = RunKsdiag({L"VIEW", L"/format:json", L"/level:loud"});
    ExpectResult(level, 1, "", banner + ViewLevelFailure());
    const Testing::ChildResult time = RunKsdiag({L"LIVE", L"/format:json", L"/level:info", L"/from:soon"});
    ExpectResult(time, 1, "", banner + "Unrecognised time. " + HelpHint());
}

TEST_F(KsdiagExe, OptionFailuresOfTheTextViewStayOnStandardOutput)
{
    ExpectResult(RunKsdiag({L"VIEW", L"/level:info", L"/all"}), 1,
                 banner + "The all option needs /format:json. " + HelpHint(), "");
    ExpectResult(RunKsdiag({L"VIEW", L"/level:info", L"/format:xml"}), 1, banner + "Unrecognised format. " + HelpHint(),
                 "");
    ExpectResult(RunKsdiag({L"STATUS", L"/format:yaml"}), 1, banner + "Unrecognised format. " + HelpHint(), "");
}
