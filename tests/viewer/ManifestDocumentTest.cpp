// The embedded manifest as a document: every attribute of the provider's levels, tasks,
// opcodes, channels, keywords, templates, events and strings, read from the resource that
// the test's own image carries, and that resource compared with the one ksdiag.exe
// carries. What TDH makes of it is checked in ManifestContentTest.cpp.

#include "tests/emulator/XmlReader.h"
#include "tests/support/ChildProcess.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

// The manifest resource of a module, or empty when it has none.
std::string ManifestResource(HMODULE module)
{
    const HRSRC resource = ::FindResourceW(module, L"TRACE_WIN32.MAN", L"MANIFEST");
    if (resource == nullptr) {
        return {};
    }
    const auto* bytes = static_cast<const char*>(::LockResource(::LoadResource(module, resource)));
    return std::string(bytes, ::SizeofResource(module, resource));
}

// A data file mapping of an image, released with the object.
class ImageResources {
public:
    explicit ImageResources(const std::wstring& path)
        : module(::LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE))
    {
    }
    ImageResources(const ImageResources&) = delete;
    ImageResources& operator=(const ImageResources&) = delete;
    ~ImageResources()
    {
        if (module != nullptr) {
            ::FreeLibrary(module);
        }
    }

    HMODULE Module() const { return module; }

private:
    HMODULE module;
};

class ManifestDocument : public ::testing::Test {
protected:
    void SetUp() override
    {
        text = ManifestResource(::GetModuleHandleW(nullptr));
        ASSERT_FALSE(text.empty());
        root = Testing::ParseXml(text);
        provider = root->Find("provider");
        ASSERT_NE(nullptr, provider);
    }

    // One line per element of the group: the attributes' values in the order given,
    // separated by blanks.
    std::vector<std::string> Rows(const Testing::XmlElement& parent, const char* item,
                                  const std::vector<std::string>& keys) const
    {
        std::vector<std::string> rows;
        for (const Testing::XmlElement* element : parent.Children(item)) {
            std::string row;
            for (const std::string& key : keys) {
                row += (row.empty() ? "" : " ") + element->Attribute(key);
            }
            rows.push_back(row);
        }
        return rows;
    }

    std::vector<std::string> Rows(const char* group, const char* item, const std::vector<std::string>& keys) const
    {
        const Testing::XmlElement* list = provider->Find(group);
        return list == nullptr ? std::vector<std::string>{} : Rows(*list, item, keys);
    }

    std::string text;
    std::unique_ptr<Testing::XmlElement> root;
    const Testing::XmlElement* provider = nullptr;
};

TEST_F(ManifestDocument, OneProviderInTheStandardSchema)
{
    EXPECT_EQ("instrumentationManifest", root->name);
    EXPECT_EQ("http://schemas.microsoft.com/win/2004/08/events", root->Attribute("xmlns"));
    EXPECT_EQ("http://manifests.microsoft.com/win/2004/08/windows/events", root->Attribute("xmlns:win"));
    EXPECT_EQ("http://www.w3.org/2001/XMLSchema", root->Attribute("xmlns:xs"));
    const Testing::XmlElement* events = root->Find("instrumentation")->Find("events");
    ASSERT_NE(nullptr, events);
    ASSERT_EQ(1u, events->Children("provider").size());
    EXPECT_EQ(
        (std::vector<std::string>{"Kestrova-Diagnostics {6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04} diagnosticsProvider "
                                  "C:\\Program Files\\Kestrova\\Bin\\Resources.dll "
                                  "C:\\Program Files\\Kestrova\\Bin\\Resources.dll"}),
        Rows(*events, "provider", {"name", "guid", "symbol", "resourceFileName", "messageFileName"}));
}

TEST_F(ManifestDocument, LevelsTasksAndOpcodes)
{
    EXPECT_EQ((std::vector<std::string>{"Enter EnterLevel 16", "Exit ExitLevel 17", "Debug DebugLevel 18"}),
              Rows("levels", "level", {"name", "symbol", "value"}));
    // Operational's symbol is "Admin".
    EXPECT_EQ((std::vector<std::string>{"Trace TraceTask 1 {3C8D1F27-5B4A-4E92-A1D6-7F0B2C9E4A13}",
                                        "Method MethodTask 2 {A47E2D90-6C1B-4F3E-9D85-1B6C3A0F7E22}",
                                        "Operational Admin 3 {5D1A8E63-2F7C-4B0D-8E39-C4B27A91D056}"}),
              Rows("tasks", "task", {"name", "symbol", "value", "eventGUID"}));
    // 16 is skipped: Debug is 17.
    EXPECT_EQ(
        (std::vector<std::string>{"Enter op_Enter 10", "Exit op_Exit 11", "Verbose op_Verbose 12", "Info op_Info 13",
                                  "Warning op_Warning 14", "Error op_Error 15", "Debug DebugOpCode 17"}),
        Rows("opcodes", "opcode", {"name", "symbol", "value"}));
}

TEST_F(ManifestDocument, ChannelsAndKeywords)
{
    EXPECT_EQ((std::vector<std::string>{
                  "Kestrova-Diagnostics/Debug Kestrova-Diagnostics/Debug DebugChannel Debug false",
                  "Kestrova-Diagnostics/Analytical Kestrova-Diagnostics/Analytical AnalyticalChannel Analytic false"}),
              Rows("channels", "channel", {"name", "chid", "symbol", "type", "enabled"}));
    EXPECT_EQ((std::vector<std::string>{"Operational OperationalKeyword 0x1", "DebugInfo DebugInfoKeyword 0x2",
                                        "DebugVerbose DebugVerboseKeyword 0x4", "DebugImage DebugImageKeyword 0x8",
                                        "DebugFault DebugFaultKeyword 0x10"}),
              Rows("keywords", "keyword", {"name", "symbol", "mask"}));
}

TEST_F(ManifestDocument, TemplatesAndTheirFieldsInPayloadOrder)
{
    const Testing::XmlElement* templates = provider->Find("templates");
    ASSERT_NE(nullptr, templates);
    std::vector<std::string> rows;
    for (const Testing::XmlElement* element : templates->Children("template")) {
        rows.push_back(element->Attribute("tid"));
        for (const std::string& field : Rows(*element, "data", {"name", "inType", "outType"})) {
            rows.push_back("  " + field);
        }
    }
    const std::string unicode = " win:UnicodeString xs:string";
    const std::string ansi = " win:AnsiString xs:string";
    const std::string utf8 = " win:AnsiString win:Utf8";
    EXPECT_EQ((std::vector<std::string>{"DebugMethodTemplate",
                                        "  ProcessName" + unicode,
                                        "  Arguments" + unicode,
                                        "DebugTraceTemplate",
                                        "  ProcessName" + unicode,
                                        "  Message" + unicode,
                                        "OperationalTemplateV1",
                                        "  ProcessName" + unicode,
                                        "  Name" + unicode,
                                        "  Message" + unicode,
                                        "  Arguments" + unicode,
                                        "  Stack" + unicode,
                                        "OperationalTemplateV2",
                                        "  ProcessName" + utf8,
                                        "  Name" + utf8,
                                        "  Message" + utf8,
                                        "  Arguments" + utf8,
                                        "  Stack" + utf8,
                                        "DebugImage",
                                        "  filename" + ansi,
                                        "  debug" + ansi,
                                        "  base win:Pointer win:HexInt64",
                                        "  size win:UInt32 xs:unsignedInt",
                                        "  ProcessName" + unicode,
                                        "  version" + ansi,
                                        "  machine win:UInt16 xs:unsignedShort",
                                        "DebugFault",
                                        "  ProcessName" + unicode,
                                        "  debug" + ansi}),
              rows);
}

TEST_F(ManifestDocument, EveryEventInBothVersions)
{
    const Testing::XmlElement* events = provider->Find("events");
    ASSERT_NE(nullptr, events);
    const std::string debug = " Kestrova-Diagnostics/Debug ";
    const std::string analytical = " Kestrova-Diagnostics/Analytical ";
    auto message = [](const char* id) { return " $(string.Kestrova.event." + std::string(id) + ".message)"; };
    EXPECT_EQ(
        (std::vector<std::string>{
            "DebugDebug 2000 1" + debug + "Debug Trace Debug DebugTraceTemplate DebugVerbose" + message("debugDebug"),
            "DebugExit 2001 1" + debug + "Exit Method Exit DebugMethodTemplate DebugVerbose" + message("debugExit"),
            "DebugEnter 2002 1" + debug + "Enter Method Enter DebugMethodTemplate DebugVerbose" + message("debugEnter"),
            "DebugVerbose 2003 1" + debug + "win:Verbose Trace Verbose DebugTraceTemplate DebugVerbose" +
                message("debugVerbose"),
            "DebugInfo 2004 1" + debug + "win:Informational Trace Info DebugTraceTemplate DebugInfo" +
                message("debugInfo"),
            "DebugWarning 2005 1" + debug + "win:Warning Trace Warning DebugTraceTemplate DebugInfo" +
                message("debugWarning"),
            "DebugError 2006 1" + debug + "win:Error Trace Error DebugTraceTemplate DebugInfo" + message("debugError"),
            "OperationalDebugV1 2010 1" + analytical + "Debug Operational Debug OperationalTemplateV1 Operational" +
                message("operationalDebug"),
            "OperationalVerboseV1 2011 1" + analytical +
                "win:Verbose Operational Verbose OperationalTemplateV1 Operational" + message("operationalVerbose"),
            "OperationalInfoV1 2012 1" + analytical +
                "win:Informational Operational Info OperationalTemplateV1 Operational" + message("operationalInfo"),
            "OperationalWarningV1 2013 1" + analytical +
                "win:Warning Operational Warning OperationalTemplateV1 Operational" + message("operationalWarning"),
            "OperationalErrorV1 2014 1" + analytical + "win:Error Operational Error OperationalTemplateV1 Operational" +
                message("operationalError"),
            "OperationalDebugV2 2010 2" + analytical + "Debug Operational Debug OperationalTemplateV2 Operational" +
                message("operationalDebug"),
            "OperationalVerboseV2 2011 2" + analytical +
                "win:Verbose Operational Verbose OperationalTemplateV2 Operational" + message("operationalVerbose"),
            "OperationalInfoV2 2012 2" + analytical +
                "win:Informational Operational Info OperationalTemplateV2 Operational" + message("operationalInfo"),
            "OperationalWarningV2 2013 2" + analytical +
                "win:Warning Operational Warning OperationalTemplateV2 Operational" + message("operationalWarning"),
            "OperationalErrorV2 2014 2" + analytical + "win:Error Operational Error OperationalTemplateV2 Operational" +
                message("operationalError"),
            // Verbose opcode at Informational level, Error opcode at Critical level: intended.
            "DebugImage 2020 1" + debug + "win:Informational Trace Verbose DebugImage DebugImage" +
                message("debugImage"),
            "DebugFault 2021 1" + debug + "win:Critical Trace Error DebugFault DebugFault" + message("debugFault"),
        }),
        Rows(*events, "event",
             {"symbol", "value", "version", "channel", "level", "task", "opcode", "template", "keywords", "message"}));
}

TEST_F(ManifestDocument, EnglishStringsOnly)
{
    const Testing::XmlElement* localization = root->Find("localization");
    ASSERT_NE(nullptr, localization);
    const auto resources = localization->Children("resources");
    ASSERT_EQ(1u, resources.size());
    EXPECT_EQ("en-US", resources[0]->Attribute("culture"));
    const Testing::XmlElement* table = resources[0]->Find("stringTable");
    ASSERT_NE(nullptr, table);
    EXPECT_EQ((std::vector<std::string>{
                  "Kestrova.event.operationalDebug.message %2", "Kestrova.event.operationalVerbose.message %2",
                  "Kestrova.event.operationalInfo.message %2", "Kestrova.event.operationalWarning.message %2",
                  "Kestrova.event.operationalError.message %2", "Kestrova.event.debugFault.message fault:%1",
                  "Kestrova.event.debugImage.message image:%1", "Kestrova.event.debugError.message error:%2",
                  "Kestrova.event.debugWarning.message warning:%2", "Kestrova.event.debugInfo.message info:%2",
                  "Kestrova.event.debugVerbose.message verbose:%2", "Kestrova.event.debugEnter.message enter:%2",
                  "Kestrova.event.debugExit.message exit:%2", "Kestrova.event.debugDebug.message debug:%2"}),
              Rows(*table, "string", {"id", "value"}));
}

TEST_F(ManifestDocument, KsdiagCarriesTheSameBytesUnderTheStringTypeManifest)
{
    const ImageResources ksdiag(Testing::SiblingExecutable(L"ksdiag.exe").wstring());
    ASSERT_NE(nullptr, ksdiag.Module());
    EXPECT_EQ(text, ManifestResource(ksdiag.Module()));
    // Not the loader's manifest type (24), which would make the XML an application manifest.
    EXPECT_EQ(nullptr, ::FindResourceW(ksdiag.Module(), L"TRACE_WIN32.MAN", MAKEINTRESOURCEW(24)));
}

} // namespace
