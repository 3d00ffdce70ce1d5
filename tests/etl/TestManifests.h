#pragma once

// The manifests the decoder's tests read: the product's, from the source tree, and one of
// the constructs the product's does not use.

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace Testing {

// The source tree's root: the tests' data root, tests/data, less its last two steps. Cut from
// the text rather than followed with "..", which needs tests/data to exist.
inline std::string SourceRoot()
{
    const std::string data = KSDIAG_TEST_DATA;
    const std::string suffix = "/tests/data";
    if (data.size() < suffix.size() || data.compare(data.size() - suffix.size(), suffix.size(), suffix) != 0) {
        throw std::runtime_error("unexpected test data root " + data);
    }
    return data.substr(0, data.size() - suffix.size());
}

// The product's instrumentation manifest, resources/TRACE_WIN32.MAN.
inline std::string ProductManifest()
{
    const std::string path = SourceRoot() + "/resources/TRACE_WIN32.MAN";
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot open " + path);
    }
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// Event 1 of Test-Provider has the template Rich: Count (UInt16), Values (Int32[Count]), Colour
// (UInt8, a map), Fixed (4 UTF-16 characters), Size (UInt32), Blob (Size bytes), Pairs (2 of
// { Key (UInt8), Text (Key 8-bit characters) }), Sid, Counted (byte count, UTF-16).
inline constexpr char richManifest[] = R"xml(<?xml version="1.0"?>
<instrumentationManifest xmlns="http://schemas.microsoft.com/win/2004/08/events"
    xmlns:win="http://manifests.microsoft.com/win/2004/08/windows/events">
 <instrumentation>
  <events>
   <provider name="Test-Provider" guid="{01234567-89AB-CDEF-0123-456789ABCDEF}" symbol="P">
    <channels>
     <importChannel name="System" chid="sys"/>
     <channel name="Test-Provider/Operational" chid="op" type="Operational"/>
     <channel name="Test-Provider/Fixed" chid="fixed" type="Debug" value="20"/>
    </channels>
    <levels>
     <level name="Noisy" value="0x10" message="$(string.level.noisy)"/>
    </levels>
    <tasks>
     <task name="Connect" value="7" message="$(string.task.connect)">
      <opcodes><opcode name="Retry" value="30" message="$(string.opcode.retry)"/></opcodes>
     </task>
     <task name="Plain" value="8"/>
    </tasks>
    <opcodes><opcode name="Retry" value="31"/></opcodes>
    <keywords>
     <keyword name="High" mask="0x100" message="$(string.keyword.high)"/>
     <keyword name="Low" mask="0x1"/>
    </keywords>
    <maps><valueMap name="Colours"><map value="1" message="$(string.red)"/></valueMap></maps>
    <templates>
     <template tid="Rich">
      <data name="Count" inType="win:UInt16"/>
      <data name="Values" inType="win:Int32" count="Count"/>
      <data name="Colour" inType="win:UInt8" map="Colours"/>
      <data name="Fixed" inType="win:UnicodeString" length="4"/>
      <data name="Size" inType="win:UInt32" outType="xs:unsignedInt"/>
      <data name="Blob" inType="win:Binary" outType="xs:hexBinary" length="Size"/>
      <struct name="Pairs" count="2">
       <data name="Key" inType="win:UInt8"/>
       <data name="Text" inType="win:AnsiString" length="Key"/>
      </struct>
      <data name="Sid" inType="win:SID"/>
      <data name="Counted" inType="win:CountedUnicodeString"/>
     </template>
    </templates>
    <events>
     <event value="1" level="Noisy" task="Connect" opcode="Retry" channel="sys" keywords="Low High win:AuditSuccess"
        template="Rich" message="literal text"/>
     <event value="0x2" version="3" task="Plain" opcode="Retry" channel="op" level="win:LogAlways"/>
     <event value="3" channel="fixed" opcode="win:Receive" task="win:None"/>
    </events>
   </provider>
   <provider name="Second" guid="{11111111-2222-3333-4444-555555555555}">
    <events><event value="9"/></events>
   </provider>
  </events>
 </instrumentation>
 <localization>
  <resources culture="de-DE"><stringTable><string id="task.connect" value="Verbinden"/></stringTable></resources>
  <resources culture="en-US">
   <stringTable>
    <string id="level.noisy" value="Very noisy"/>
    <string id="task.connect" value="Connecting"/>
    <string id="opcode.retry" value="Retrying"/>
    <string id="keyword.high" value="High traffic"/>
    <string id="red" value="Red"/>
   </stringTable>
  </resources>
 </localization>
</instrumentationManifest>
)xml";

} // namespace Testing
