// What the door tells the system about memory, seen in which pages are there afterwards.

#include "OperatingSystem/Memory.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <iterator>
#include <new>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace OperatingSystem {

namespace {

// Pages that nothing has touched.
class FreshPages {
public:
    explicit FreshPages(std::size_t pageCount)
        : count(pageCount),
          memory(static_cast<char*>(::mmap(nullptr, count * pageSize, PROT_READ | PROT_WRITE,
                                           MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
        if (memory == MAP_FAILED) {
            throw std::bad_alloc();
        }
        ::madvise(memory, count * pageSize, MADV_NOHUGEPAGE); // where those are, more is provided
    }
    FreshPages(const FreshPages&) = delete; // owns the pages
    FreshPages& operator=(const FreshPages&) = delete;
    ~FreshPages() { ::munmap(memory, count * pageSize); }

    char* Begin() const { return memory; }

    // Of each page, whether there is memory behind it.
    std::vector<bool> AreThere() const {
        std::vector<unsigned char> states(count);
        EXPECT_EQ(::mincore(memory, count * pageSize, states.data()), 0);
        std::vector<bool> result;
        std::transform(states.begin(), states.end(), std::back_inserter(result),
                       [](unsigned char state) { return (state & 1) != 0; });
        return result;
    }

    static inline const std::size_t pageSize = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));

private:
    std::size_t count;
    char* memory;
};

class MemoryTest : public testing::Test {
protected:
    void SetUp() override {
#ifdef MADV_POPULATE_WRITE
        const FreshPages pages(1);
        if (::madvise(pages.Begin(), FreshPages::pageSize, MADV_POPULATE_WRITE) == 0) {
            return;
        }
#endif
        GTEST_SKIP() << "this system does not take the hint";
    }
};

std::vector<bool> Pages(std::size_t before, std::size_t there, std::size_t behind) {
    std::vector<bool> result(before + there + behind);
    std::fill_n(result.begin() + static_cast<std::ptrdiff_t>(before), there, true);
    return result;
}

} // namespace

TEST_F(MemoryTest, ProvidesThePagesOfABlockAndNoneBesideIt) {
    const FreshPages pages(40);
    WillFill(pages.Begin() + 4 * FreshPages::pageSize, 32 * FreshPages::pageSize);
    EXPECT_EQ(pages.AreThere(), Pages(4, 32, 4));
}

TEST_F(MemoryTest, LeavesPagesThatABlockHasInPartAlone) {
    const FreshPages pages(40);
    WillFill(pages.Begin() + 4 * FreshPages::pageSize - 1, 32 * FreshPages::pageSize);
    EXPECT_EQ(pages.AreThere(), Pages(4, 31, 5));
}

TEST_F(MemoryTest, LeavesSmallBlocksAlone) {
    const FreshPages pages(40);
    WillFill(pages.Begin(), 15 * FreshPages::pageSize);
    WillFill(pages.Begin() + 1, 1);
    WillFill(pages.Begin(), 0);
    WillFill(nullptr, 0);
    EXPECT_EQ(pages.AreThere(), Pages(0, 0, 40));
}

TEST_F(MemoryTest, ProvidesTheSmallestBlockThatIsWorthAsking) {
    const FreshPages pages(40);
    WillFill(pages.Begin(), 16 * FreshPages::pageSize);
    EXPECT_EQ(pages.AreThere(), Pages(0, 16, 24));
}

TEST_F(MemoryTest, WritingAPageThatWasProvidedFindsItThere) {
    const FreshPages pages(40);
    WillFill(pages.Begin(), 40 * FreshPages::pageSize);
    const auto faults = [] {
        rusage usage{};
        ::getrusage(RUSAGE_SELF, &usage);
        return usage.ru_minflt;
    };
    // The system writes, so that no sanitizer touches memory of its own for it.
    const int zeros = ::open("/dev/zero", O_RDONLY | O_CLOEXEC);
    const auto before = faults();
    for (std::size_t i = 0; i < 40; ++i) {
        ASSERT_EQ(::syscall(SYS_read, zeros, pages.Begin() + i * FreshPages::pageSize, 1), 1);
    }
    EXPECT_LT(faults() - before, 20);
    ::close(zeros);
}

TEST_F(MemoryTest, KeepsContents) {
    const FreshPages pages(40);
    pages.Begin()[20 * FreshPages::pageSize + 7] = 'x';
    WillFill(pages.Begin(), 40 * FreshPages::pageSize);
    EXPECT_EQ(pages.Begin()[20 * FreshPages::pageSize + 7], 'x');
}

TEST_F(MemoryTest, KeepsTheErrorNumberWhereTheHintIsRefused) {
    char* const begin = [] {
        const FreshPages pages(40);
        return pages.Begin();
    }();
    errno = EEXIST;
    WillFill(begin, 40 * FreshPages::pageSize); // nothing is there any more
    EXPECT_EQ(errno, EEXIST);
}

} // namespace OperatingSystem
