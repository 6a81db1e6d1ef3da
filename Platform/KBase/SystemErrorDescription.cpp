#include "KBase/Message.h"
#include "KBase/WideStream.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace KBase {

namespace {

struct Row {
    unsigned int code;
    std::string_view description;
};

// Ascending, so that a number is found by bisection.
constexpr Row rows[] = {
    {2, "The file does not exist."},
    {3, "The directory of the path does not exist."},
    {4, "Too many files are open."},
    {5, "Access is denied."},
    {6, "The file handle is not open."},
    {8, "There is not enough memory."},
    {17, "The file cannot be moved to another disk."},
    {18, "There are no more files."},
    {19, "The disk is write-protected."},
    {31, "The device or the system failed."},
    {32, "The file is in use by another process."},
    {33, "Another process or another opening of the file has locked it."},
    {38, "The end of the file is reached."},
    {39, "The permitted share of the disk is used up."},
    {50, "The request is not supported."},
    {55, "The device does not exist or is not ready."},
    {80, "The file exists already."},
    {82, "The directory cannot take another entry."},
    {87, "A parameter is invalid."},
    {109, "The reader of the pipe is gone."},
    {112, "The disk is full."},
    {122, "The buffer is too small."},
    {123, "The file name is not valid on this file system."},
    {131, "The position would lie before the start of the file."},
    {132, "The file has no positions: it is a pipe or a device."},
    {145, "The directory is not empty."},
    {170, "The file or device is busy."},
    {183, "A file of that name exists already."},
    {203, "There is no environment variable of that name."},
    {206, "The file name is too long."},
    {223, "The file is larger than allowed."},
    {267, "The path is not a directory."},
    {995, "The operation was aborted."},
    {998, "The memory address is invalid."},
    {1004, "A flag is invalid."},
    {1006, "The open file is no longer valid, since it was changed or removed elsewhere."},
    {1113, "The text holds a character that cannot be represented: an unpaired surrogate or an ill-formed "
           "sequence."},
    {1117, "The device reported an input or output error."},
    {1131, "Waiting would never end: a deadlock was detected."},
    {1450, "The system has no resources left for the operation."},
    {1460, "The operation took too long."},
    {1921, "The file name cannot be resolved: it leads through too many links."},
};

static_assert(std::is_sorted(std::begin(rows), std::end(rows),
                             [](const Row& a, const Row& b) { return a.code < b.code; }));

} // namespace

ReturnWString GetSystemErrorDescription(unsigned int code) {
    const Row* const row = std::lower_bound(std::begin(rows), std::end(rows), code,
                                            [](const Row& r, unsigned int c) { return r.code < c; });
    if (row == std::end(rows) || row->code != code) {
        return (WideStream() << "Error " << code << ".").Text();
    }
    return (WideStream() << row->description).Text();
}

} // namespace KBase
