#include "viewer/ManifestExtraction.h"
#include "base/Exception.h"
#include "tests/viewer/ViewerFixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

namespace {

using ManifestExtraction = Testing::ViewerTest;

// The resource as the test's own image carries it, the same bytes as ksdiag.exe's.
std::string ResourceText()
{
    const HMODULE module = ::GetModuleHandleW(nullptr);
    const HRSRC resource = ::FindResourceW(module, L"TRACE_WIN32.MAN", L"MANIFEST");
    if (resource == nullptr) {
        return {};
    }
    const auto* bytes = static_cast<const char*>(::LockResource(::LoadResource(module, resource)));
    return std::string(bytes, ::SizeofResource(module, resource));
}

std::string FileText(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// Saves what a replaced file function needs to reach from a plain function pointer.
Platform::FileApi savedFiles;

HANDLE WINAPI NullCreate(LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE)
{
    ::SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
}

HANDLE WINAPI InvalidCreate(LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE)
{
    ::SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}

// Writes the first half for real, then reports a full disk.
BOOL WINAPI ShortWrite(HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
{
    savedFiles.WriteFile(file, data, size / 2, written, overlapped);
    ::SetLastError(ERROR_DISK_FULL);
    return TRUE;
}

struct CreateCall {
    std::wstring path;
    DWORD access;
    DWORD share;
    DWORD disposition;
    DWORD attributes;
};
std::vector<CreateCall> creates;

HANDLE WINAPI RecordingCreate(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                              DWORD disposition, DWORD attributes, HANDLE templateFile)
{
    creates.push_back(CreateCall{path, access, share, disposition, attributes});
    return savedFiles.CreateFileW(path, access, share, security, disposition, attributes, templateFile);
}

TEST_F(ManifestExtraction, TemporaryFileNameIsAGuidInTheTemporaryDirectory)
{
    const std::wstring path = Viewer::MakeTemporaryFileName();
    EXPECT_TRUE(std::regex_match(path.substr(TempPath().size()),
                                 std::wregex(L"[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}\\.tmp")));
    EXPECT_EQ(TempPath(), path.substr(0, TempPath().size()));
    EXPECT_NE(path, Viewer::MakeTemporaryFileName());
    EXPECT_EQ("VERBOSE : Generated temporary file [" + std::filesystem::path(path).string() + "]", TraceLines().at(0));
}

TEST_F(ManifestExtraction, ExtractWritesTheResourceBytes)
{
    savedFiles = *files;
    files->CreateFileW = RecordingCreate;
    const std::filesystem::path path = temp.Path() / L"manifest.tmp";
    EXPECT_EQ(0u, Viewer::ExtractManifest(path.wstring()));
    const std::string resource = ResourceText();
    ASSERT_FALSE(resource.empty());
    EXPECT_EQ(resource, FileText(path));
    EXPECT_NE(std::string::npos, resource.find("name=\"Kestrova-Diagnostics\""));
    ASSERT_EQ(1u, creates.size());
    EXPECT_EQ(static_cast<DWORD>(GENERIC_WRITE), creates[0].access);
    EXPECT_EQ(static_cast<DWORD>(FILE_SHARE_READ), creates[0].share);
    EXPECT_EQ(static_cast<DWORD>(CREATE_ALWAYS), creates[0].disposition);
    EXPECT_EQ(static_cast<DWORD>(FILE_ATTRIBUTE_TEMPORARY), creates[0].attributes);
    EXPECT_EQ((std::vector<std::string>{"  ENTER : ExtractManifest", "   EXIT : ExtractManifest"}), TraceLines());
}

TEST_F(ManifestExtraction, LoadHandsTheFileToTdhAndDeletesIt)
{
    EXPECT_EQ(0u, Viewer::LoadInstrumentationManifest());
    ASSERT_EQ(1u, tdh.ManifestLoads().size());
    const auto& load = tdh.ManifestLoads()[0];
    EXPECT_EQ(ResourceText(), load.text);
    EXPECT_EQ(TempPath(), load.path.substr(0, TempPath().size()));
    EXPECT_TRUE(temp.Files().empty());
    const std::string path = std::filesystem::path(load.path).string();
    EXPECT_EQ((std::vector<std::string>{"VERBOSE : Generated temporary file [" + path + "]",
                                        "  ENTER : ExtractManifest", "   EXIT : ExtractManifest"}),
              TraceLines());
}

TEST_F(ManifestExtraction, TdhFailureIsTracedAndTheFileStillDeleted)
{
    tdh.FailLoadManifest(ERROR_XML_PARSE_ERROR);
    EXPECT_EQ(static_cast<uint32_t>(ERROR_XML_PARSE_ERROR), Viewer::LoadInstrumentationManifest());
    EXPECT_TRUE(temp.Files().empty());
    EXPECT_EQ("  ERROR : Failed to load instrumentation manifest with error [1465]", TraceLines().back());
}

TEST_F(ManifestExtraction, NullCreationFailsAndTheDeleteWarningKeepsItsArgumentOrder)
{
    files->CreateFileW = NullCreate;
    EXPECT_EQ(static_cast<uint32_t>(ERROR_ACCESS_DENIED), Viewer::LoadInstrumentationManifest());
    const auto lines = TraceLines();
    ASSERT_EQ(5u, lines.size());
    const std::string path = lines[0].substr(36, lines[0].size() - 37);
    EXPECT_EQ("  ERROR : Failed to create temporary file [" + path + "] with error [5]", lines[2]);
    EXPECT_EQ("  ERROR : Failed to extract instrumentation manifest with error [5]", lines[3]);
    // The code lands where the path belongs, and the path's address where the error does.
    EXPECT_TRUE(std::regex_match(lines[4], std::regex("WARNING : Failed to delete instrumentation manifest \\[5\\] "
                                                      "error \\[[0-9]+\\]")))
        << lines[4];
    EXPECT_TRUE(tdh.ManifestLoads().empty());
}

TEST_F(ManifestExtraction, InvalidHandleGoesOnToTheWriteWhichFails)
{
    files->CreateFileW = InvalidCreate;
    const std::filesystem::path path = temp.Path() / L"manifest.tmp";
    const uint32_t result = Viewer::ExtractManifest(path.wstring());
    // What the platform answers for a write to that handle, not a guess at its code.
    DWORD written = 0;
    ::WriteFile(INVALID_HANDLE_VALUE, "x", 1, &written, nullptr);
    const DWORD writeError = ::GetLastError();
    EXPECT_EQ(writeError, result);
    const auto lines = TraceLines();
    ASSERT_EQ(3u, lines.size());
    const size_t size = ResourceText().size();
    EXPECT_EQ("  ERROR : Failed to write [" + std::to_string(size) + "] bytes to file [" + path.string() +
                  "]. [0] bytes were written with error [" + std::to_string(writeError) + "]",
              lines[1]);
    EXPECT_EQ("WARNING : Failed to delete file [" + path.string() + "] error [2]", lines[2]);
}

TEST_F(ManifestExtraction, ShortWriteDeletesThePartialFile)
{
    savedFiles = *files;
    files->WriteFile = ShortWrite;
    const std::filesystem::path path = temp.Path() / L"manifest.tmp";
    EXPECT_EQ(static_cast<uint32_t>(ERROR_DISK_FULL), Viewer::ExtractManifest(path.wstring()));
    EXPECT_TRUE(temp.Files().empty());
    const size_t size = ResourceText().size();
    EXPECT_EQ((std::vector<std::string>{"  ENTER : ExtractManifest",
                                        "  ERROR : Failed to write [" + std::to_string(size) + "] bytes to file [" +
                                            path.string() + "]. [" + std::to_string(size / 2) +
                                            "] bytes were written with error [112]"}),
              TraceLines());
}

HGLOBAL WINAPI FailingLoadResource(HMODULE, HRSRC)
{
    ::SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
    return nullptr;
}

TEST_F(ManifestExtraction, ResourceThatCannotBeLoadedIsTracedWithoutBrackets)
{
    files->LoadResource = FailingLoadResource;
    const std::filesystem::path path = temp.Path() / L"manifest.tmp";
    EXPECT_EQ(static_cast<uint32_t>(ERROR_RESOURCE_DATA_NOT_FOUND), Viewer::ExtractManifest(path.wstring()));
    EXPECT_TRUE(temp.Files().empty());
    EXPECT_EQ(
        (std::vector<std::string>{"  ENTER : ExtractManifest", "  ERROR : Failed to load resource with error 1812"}),
        TraceLines());
    capture.Clear();
    EXPECT_EQ(static_cast<uint32_t>(ERROR_RESOURCE_DATA_NOT_FOUND), Viewer::LoadInstrumentationManifest());
    EXPECT_EQ("  ERROR : Failed to extract instrumentation manifest with error [1812]", TraceLines().at(3));
    EXPECT_TRUE(tdh.ManifestLoads().empty());
}

DWORD WINAPI FailingTempPath(DWORD, LPWSTR)
{
    ::SetLastError(ERROR_PATH_NOT_FOUND);
    return 0;
}

TEST_F(ManifestExtraction, NoTemporaryDirectoryMeansNoManifest)
{
    files->GetTempPathW = FailingTempPath;
    EXPECT_THROW(Viewer::MakeTemporaryFileName(), Base::ExceptionWin32);
    capture.Clear();
    EXPECT_EQ(static_cast<uint32_t>(ERROR_PATH_NOT_FOUND), Viewer::LoadInstrumentationManifest());
    EXPECT_EQ((std::vector<std::string>{"  ERROR : Failed to extract instrumentation manifest with error [3]"}),
              TraceLines());
    EXPECT_TRUE(tdh.ManifestLoads().empty());
}

} // namespace
