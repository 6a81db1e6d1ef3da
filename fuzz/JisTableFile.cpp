// The input is a translation file of the Shift-JIS to JIS table, and the text that the table converts.

#include "FuzzTarget.h"

#include "CodePage/CodePageRegistry.h"
#include "CodePage/Initializer.h"
#include "CodePage/JisOperations.h"
#include "CodePage/MarkedTables.h"
#include "CodePage/TemporaryDirectory.h"

namespace {

using namespace KCodePage;
using KBase::operator""_w;

// What lives as long as the process: the module, set to the services, and an empty table.
struct Setting {
    Setting() {
        const CodePageTests::TemporaryDirectory directory;
        MarkedTables::WriteFile(directory.Path() / JisTables::fileName, JisTables::File({}));
        SetBasePath(directory.Wide().c_str());
        empty = KBase::ReturnPtrI<ShiftJisToJis>(new ShiftJisToJis);
        SetBasePath(u"UseWindowsAPI"_w);
        const auto shiftJis = GetCodePageReference(SHIFT_JIS);
        for (unsigned byte = 0; byte < 0x100; ++byte) {
            leadBytes[byte] = shiftJis->IsLeadingByte(static_cast<char>(byte));
        }
    }

    const Initializer initializer;
    KBase::ReturnPtrI<ShiftJisToJis> empty;
    JisOperations::LeadBytes leadBytes{};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Setting setting;
    const std::string bytes(data, data + size);
    JisOperations::ReadAndUse(*setting.empty, setting.leadBytes, bytes, bytes);
    return 0;
}
