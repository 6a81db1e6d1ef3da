// The input is a translation file of a UnicodeToMultiByte table, and the text that the table converts; its
// size chooses the kind of object that it is read into.

#include "FuzzTarget.h"

#include "CodePage/TableOperations.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    const auto kind = static_cast<TableOperations::Kind>(size % TableOperations::KindCount);
    TableOperations::ReadAndUseAs<KCodePage::UnicodeToMultiByte>(kind, bytes, bytes);
    return 0;
}
