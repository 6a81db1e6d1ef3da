#include "LibraryPath.h"

#include "Failure.h"
#include "KBase/Message.h"
#include "KBase/UTF8Routines.h"
#include "Messages.h"

KBase::WideString LibraryPath(const std::string& path) {
    if (path.find('\\') != std::string::npos) {
        throw Failure("the directory " + Quoted(path) +
                      " has a backslash in its name, which separates names in the library; use a directory "
                      "without one");
    }
    // This one name is not a path to the library.
    const std::string name = path == "UseWindowsAPI" ? "./" + path : path;
    try {
        return KBase::UTF8ToWideCharUsingLength(name.data(), name.size(), false);
    } catch (const KBase::Message&) {
        throw Failure("the name of the directory " + Quoted(path) + " is not UTF-8, as the library needs it");
    }
}
