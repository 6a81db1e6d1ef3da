#include "CodePage/Table.h"

namespace KCodePage {

Table::~Table() = default;

} // namespace KCodePage
