#include "tests/support/TempDirectory.h"

#include "tests/support/ScratchRegistryKey.h"

#include <algorithm>

namespace Testing {

TempDirectory::TempDirectory() : path(std::filesystem::temp_directory_path() / UniqueName(L"ksdiag-test-"))
{
    std::filesystem::create_directories(path);
}

TempDirectory::~TempDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::vector<std::filesystem::path> TempDirectory::Files() const
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        files.push_back(entry.path().filename());
    }
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace Testing
