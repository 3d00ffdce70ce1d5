#pragma once

// What a product component writes into a DebugImage event about one of its modules, read
// from the module loaded into this process: its path, load address and size, preferred
// base, the debug-directory entries with the data each describes (the form the viewer's
// symbol loader hands dbghelp), and its exports' offsets.

#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Testing {

struct ModuleImage {
    HMODULE handle = nullptr; // loaded for the life of the process
    std::filesystem::path path;
    uint64_t base = 0;          // where it is loaded in this process
    uint64_t preferredBase = 0; // OptionalHeader.ImageBase
    uint32_t size = 0;          // SizeOfImage
    uint16_t machine = 0;
    std::vector<uint8_t> debugDirectories; // the entries, then the data each describes, in order

    // The offset of an export from the module's base; 0 when it has none of that name.
    uint32_t ExportOffset(const char* name) const;
};

// Loads the module (LoadLibraryW) and reads it; handle is null when it cannot be loaded.
ModuleImage LoadModuleImage(const std::filesystem::path& path);

// Standard base64 with padding, as the product's components encode the "debug" fields.
std::string EncodeBase64(const std::vector<uint8_t>& bytes);

} // namespace Testing
