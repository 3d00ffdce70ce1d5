// ksdiag.exe runs elevated; a VERSION.dll or tdh.dll planted next to a copy of it must
// not be loaded into its process. The folder holds copies of ksdiag.exe, of a probe that
// loads both DLLs the ordinary way (import, LoadLibraryW), of startup_floor.exe (a
// program that imports exactly the KnownDLLs ksdiag imports and does nothing), and the
// stand-in DLL under both names; the stand-in leaves "<name>.loaded" when it is loaded.
//
// Windows looks in the program's folder first for any DLL outside KnownDLLs. Wine by
// default prefers its own built-in DLLs; its per-program key
// HKCU\Software\Wine\AppDefaults\<program>\DllOverrides set to "native,builtin" makes it
// search for a native one first, as Windows does (Windows never reads that key). The
// copies get names of their own, so that the key touches no other test's programs. The
// probe shows that the planting works where the test runs.
//
// What the system DLLs themselves load is the platform's business: Wine's user32
// imports version.dll, so under Wine the floor loads a planted VERSION.dll too, while on
// Windows neither does. So ksdiag must load a planted VERSION.dll no more than the floor
// does, and a planted tdh.dll never (no system DLL imports it); ksdiag's own static
// imports are checked by KsdiagImage.KnownDllImportsManifestAndVersion.

#include "tests/support/ChildProcess.h"
#include "tests/support/NamedLock.h"
#include "tests/support/ScratchRegistryKey.h"
#include "tests/support/TempDirectory.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// A copy of one of the build's programs under a unique name, with Wine told to look for
// the planted DLLs before its own for that name; the key goes with the object.
class PlantedProgram {
public:
    PlantedProgram(const std::filesystem::path& folder, const wchar_t* original)
        : name(Testing::UniqueName(L"ksdiag-planting-") + L".exe"),
          key(L"Software\\Wine\\AppDefaults\\" + name + L"\\DllOverrides"), path(folder / name)
    {
        std::filesystem::copy_file(Testing::SiblingExecutable(original), path);
        HKEY overrides = nullptr;
        if (::RegCreateKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &overrides,
                              nullptr) != ERROR_SUCCESS) {
            throw std::runtime_error("cannot create the load-order key");
        }
        static const wchar_t nativeFirst[] = L"native,builtin";
        for (const wchar_t* dll : {L"version", L"tdh"}) {
            ::RegSetValueExW(overrides, dll, 0, REG_SZ, reinterpret_cast<const BYTE*>(nativeFirst),
                             sizeof(nativeFirst));
        }
        ::RegCloseKey(overrides);
    }
    PlantedProgram(const PlantedProgram&) = delete;
    PlantedProgram& operator=(const PlantedProgram&) = delete;
    ~PlantedProgram() { ::RegDeleteTreeW(HKEY_CURRENT_USER, (L"Software\\Wine\\AppDefaults\\" + name).c_str()); }

    const std::filesystem::path& Path() const { return path; }

private:
    std::wstring name;
    std::wstring key;
    std::filesystem::path path;
};

class DllPlanting : public testing::Test {
protected:
    void SetUp() override
    {
        for (const wchar_t* planted : {L"VERSION.dll", L"tdh.dll"}) {
            std::filesystem::copy_file(Testing::SiblingExecutable(L"planted_module.dll"), temp.Path() / planted);
        }
    }

    struct Planted {
        bool version = false;
        bool tdh = false;
    };

    // Runs the program and reports which planted DLLs it loaded.
    Planted Run(const PlantedProgram& program, const std::vector<std::wstring>& arguments)
    {
        Testing::RunChild(program.Path(), arguments);
        Planted loaded;
        loaded.version = TakeMarker(L"VERSION.dll");
        loaded.tdh = TakeMarker(L"tdh.dll");
        return loaded;
    }

    // Whether the planted DLL left its marker; the marker is removed for the next run.
    bool TakeMarker(const wchar_t* planted) const
    {
        return std::filesystem::remove(temp.Path() / (std::wstring(planted) + L".loaded"));
    }

    // ksdiag.exe reads its registry arguments keys, which other tests write.
    Testing::NamedLock lock{Testing::ArgumentsKeyLockName};
    Testing::TempDirectory temp;
    PlantedProgram floor{temp.Path(), L"startup_floor.exe"};
    PlantedProgram ksdiag{temp.Path(), L"ksdiag.exe"};
};

TEST_F(DllPlanting, TheProbeLoadsBothPlantedDlls)
{
    const PlantedProgram probe(temp.Path(), L"planting_probe.exe");
    const Planted loaded = Run(probe, {});
    EXPECT_TRUE(loaded.version);
    EXPECT_TRUE(loaded.tdh);
}

TEST_F(DllPlanting, KsdiagLoadsNoneAtStartUp)
{
    const Planted byFloor = Run(floor, {});
    const Planted byKsdiag = Run(ksdiag, {L"/?"});
    EXPECT_FALSE(byFloor.tdh);
    EXPECT_FALSE(byKsdiag.tdh);
    EXPECT_EQ(byFloor.version, byKsdiag.version);
}

TEST_F(DllPlanting, KsdiagTakesTdhFromSystem32WhenItReadsEvents)
{
    const Planted byFloor = Run(floor, {});
    // LIVE loads the instrumentation manifest into TDH before anything else.
    const Planted byKsdiag = Run(ksdiag, {L"LIVE", L"/level:info", L"/nologo"});
    EXPECT_FALSE(byKsdiag.tdh);
    EXPECT_EQ(byFloor.version, byKsdiag.version);
}

} // namespace
