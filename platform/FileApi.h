#pragma once

// File creation, writing and deletion for the files the viewer writes (the manifest
// copy, minidumps), the temporary directory they go to, and the resource the manifest
// comes from; a test can shorten a write, fail a creation or lose a resource through
// this table.

#include <windows.h>

namespace Platform {

struct FileApi {
    decltype(&::CreateFileW) CreateFileW;
    decltype(&::WriteFile) WriteFile;
    decltype(&::DeleteFileW) DeleteFileW;
    decltype(&::GetTempPathW) GetTempPathW;
    decltype(&::FindResourceW) FindResourceW;
    decltype(&::LoadResource) LoadResource;
    decltype(&::LockResource) LockResource;
    decltype(&::SizeofResource) SizeofResource;
};

FileApi& File();
const FileApi& SystemFile();

} // namespace Platform
