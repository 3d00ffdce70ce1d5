#pragma once

// A uniquely named directory under the temporary directory, removed with its contents.

#include <filesystem>
#include <vector>

namespace Testing {

class TempDirectory {
public:
    TempDirectory();
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
    ~TempDirectory();

    const std::filesystem::path& Path() const { return path; }

    // Names of the files directly inside, sorted.
    std::vector<std::filesystem::path> Files() const;

private:
    std::filesystem::path path;
};

} // namespace Testing
