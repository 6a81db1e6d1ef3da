// The symbols that the library shows are the ones in exported-symbols.txt: the functions and the classes'
// type information. Left out is what the compiler puts there or not as it sees fit: virtual tables,
// instantiations of the standard library's templates, a sanitizer's own symbols.

#include <gtest/gtest.h>

#include <cxxabi.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

constexpr char listFile[] = "tests/Contract/exported-symbols.txt";

std::string OutputOf(const std::string& command) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    if (!pipe) {
        throw std::runtime_error("cannot run " + command);
    }
    std::string output;
    std::array<char, 65536> buffer;
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) {
        output.append(buffer.data(), count);
    }
    return output;
}

std::string Demangled(const std::string& symbol) {
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> text(
        abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status), std::free);
    return status == 0 ? text.get() : symbol;
}

bool StartsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

bool OfTheCompilersOwn(const std::string& name) {
    for (const char* start : {"std::", "typeinfo for std::", "guard variable for std::", "vtable for ",
                              "VTT for ", "construction vtable for ", "typeinfo name for ", "__asan",
                              "__odr_asan", "__tsan", "__ubsan", "__sanitizer"}) {
        if (StartsWith(name, start)) {
            return true;
        }
    }
    // Function templates show their result type first.
    return name.find(" std::") != std::string::npos && name.find("KBase::") == std::string::npos &&
           name.find("KCodePage::") == std::string::npos;
}

// All defined dynamic symbols, demangled.
std::set<std::string> AllSymbols() {
    std::istringstream lines(OutputOf("'" KCODEPAGE_NM "' -D --defined-only '" KCODEPAGE_LIBRARY "'"));
    std::set<std::string> symbols;
    for (std::string line; std::getline(lines, line);) {
        symbols.insert(Demangled(line.substr(line.rfind(' ') + 1)));
    }
    return symbols;
}

TEST(ExportedSymbolsTest, AreTheOnesOfTheList) {
    std::set<std::string> exported;
    for (const std::string& name : AllSymbols()) {
        if (!OfTheCompilersOwn(name)) {
            exported.insert(name);
        }
    }
    ASSERT_FALSE(exported.empty());
    std::ofstream found(KCODEPAGE_SYMBOLS_FOUND);
    for (const std::string& name : exported) {
        found << name << '\n';
    }
    std::set<std::string> listed;
    std::ifstream list(listFile);
    ASSERT_TRUE(list) << "cannot open " << listFile;
    std::string previous;
    for (std::string line; std::getline(list, line); previous = line) {
        EXPECT_LT(previous, line) << "the list is not sorted";
        listed.insert(line);
    }
    for (const std::string& name : exported) {
        EXPECT_EQ(listed.count(name), 1u) << "exported but not in the list:\n" << name;
    }
    for (const std::string& name : listed) {
        EXPECT_EQ(exported.count(name), 1u) << "in the list but not exported:\n" << name;
    }
}

TEST(ExportedSymbolsTest, ShowNothingOfTheInternals) {
    for (const std::string& name : AllSymbols()) {
        for (const char* internal : {"KFileSystem", "OperatingSystem", "UTF8::", "StringImpl", "IANAInfoImpl",
                                     "ModuleState", "DecodeMap", "EncodeMap", "KRegistry", "KLog",
                                     "GetBasePath", "FindOrCreateCodePage", "CodePageTables"}) {
            EXPECT_EQ(name.find(internal), std::string::npos) << name;
        }
        const bool ofTheLibrary =
            name.find("KBase::") != std::string::npos || name.find("KCodePage::") != std::string::npos ||
            name.find("KDataType::") != std::string::npos ||
            name.find("KSerialization::") != std::string::npos || name.find("KSynch::") != std::string::npos;
        EXPECT_TRUE(ofTheLibrary || OfTheCompilersOwn(name)) << name;
    }
}

} // namespace
