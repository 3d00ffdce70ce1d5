#include "tests/support/ModuleImage.h"

namespace Testing {

uint32_t ModuleImage::ExportOffset(const char* name) const
{
    const FARPROC address = handle != nullptr ? ::GetProcAddress(handle, name) : nullptr;
    return address == nullptr ? 0 : static_cast<uint32_t>(reinterpret_cast<uint64_t>(address) - base);
}

ModuleImage LoadModuleImage(const std::filesystem::path& path)
{
    ModuleImage module;
    module.path = path;
    module.handle = ::LoadLibraryW(path.c_str());
    if (module.handle == nullptr) {
        return module;
    }
    module.base = reinterpret_cast<uint64_t>(module.handle);
    // The image as the loader mapped it: headers and sections at their virtual addresses.
    const auto* image = reinterpret_cast<const uint8_t*>(module.handle);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(image + dos->e_lfanew);
    module.size = nt->OptionalHeader.SizeOfImage;
    module.preferredBase = nt->OptionalHeader.ImageBase;
    module.machine = nt->FileHeader.Machine;
    const IMAGE_DATA_DIRECTORY& debug = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_DEBUG];
    const auto* entries = reinterpret_cast<const IMAGE_DEBUG_DIRECTORY*>(image + debug.VirtualAddress);
    const size_t count = debug.Size / sizeof(IMAGE_DEBUG_DIRECTORY);
    module.debugDirectories.assign(reinterpret_cast<const uint8_t*>(entries),
                                   reinterpret_cast<const uint8_t*>(entries + count));
    for (size_t index = 0; index < count; ++index) {
        const uint8_t* data = image + entries[index].AddressOfRawData;
        module.debugDirectories.insert(module.debugDirectories.end(), data, data + entries[index].SizeOfData);
    }
    return module;
}

std::string EncodeBase64(const std::vector<uint8_t>& bytes)
{
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t index = 0; index < bytes.size(); index += 3) {
        const uint32_t group = (bytes[index] << 16) | (index + 1 < bytes.size() ? bytes[index + 1] << 8 : 0) |
                               (index + 2 < bytes.size() ? bytes[index + 2] : 0);
        text += alphabet[(group >> 18) & 63];
        text += alphabet[(group >> 12) & 63];
        text += index + 1 < bytes.size() ? alphabet[(group >> 6) & 63] : '=';
        text += index + 2 < bytes.size() ? alphabet[group & 63] : '=';
    }
    return text;
}

} // namespace Testing
