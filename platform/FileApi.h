#pragma once

// File creation, writing and deletion for the files the viewer writes (the manifest
// copy, minidumps) and the temporary directory they go to; a test can shorten a write or
// fail a creation through this table.

#include <windows.h>

namespace Platform {

struct FileApi {
    decltype(&::CreateFileW) CreateFileW;
    decltype(&::WriteFile) WriteFile;
    decltype(&::DeleteFileW) DeleteFileW;
    decltype(&::GetTempPathW) GetTempPathW;
};

FileApi& File();
const FileApi& SystemFile();

} // namespace Platform
