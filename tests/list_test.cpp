// The list, and what happens when there is no memory left.
#include "common/common/LL.h"
#include "common/common/strlib.h"
#include "common/unix/cm_kernel.h"
#include "common/unix/cm_trace.h"

#include <gtest/gtest.h>

#include <fstream>
#include <new>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

Texts texts_of(t_LL list) {
    Texts texts;
    for (void *element = FirstElmLL(list); IsElmLL(element) != 0; element = NextElmLL(element)) {
        texts.emplace_back(static_cast<const char *>(element), IsElmLL(element));
    }
    return texts;
}

// Of this process's address space.
long pages() {
    long count = 0;
    std::ifstream("/proc/self/statm") >> count;
    return count;
}

TEST(List, KeepsCopiesInOrderOfInsertion) {
    t_LL list = ConsLL();
    EXPECT_EQ(texts_of(list), Texts{});
    char data[] = "two";
    void *two = InsLastLLf(list, 3, data);
    data[0] = 'x';
    InsLastLLf(list, 4, "four");
    InsLLf(two, 3, "one", LINK_BEFORE);
    InsLLf(two, 3, "t\0e", LINK_AFTER);
    EXPECT_EQ(texts_of(list), (Texts{"one", "two", std::string("t\0e", 3), "four"}));
    EXPECT_EQ(list->links.backward->backward->backward + 1, two); // the other links' way
    EmptyLL(list);
    EXPECT_EQ(FirstElmLL(list), reinterpret_cast<char *>(list) + sizeof(s_list));
    InsLastLLf(list, 5, "again");
    EXPECT_EQ(texts_of(list), Texts{"again"});
    DestLL(list);
    s_LL head = {{nullptr, nullptr, 7}};
    InitLL(&head);
    EXPECT_EQ(texts_of(&head), Texts{});
}

// A list takes little more of the address space, which may be limited, than its elements.
TEST(List, TakesTheRoomOfItsElements) {
#if defined(__SANITIZE_ADDRESS__) || !defined(__GLIBC__)
    GTEST_SKIP() << "another allocator";
#endif
    const auto fill = [] {
        const long before = pages();
        t_LL list = ConsLL();
        for (int i = 0; i < 200000; i++) { // of 80 bytes with their headers
            InsLastLLf(list, 41, std::string(41, 'x').data());
        }
        _exit((pages() - before) * sysconf(_SC_PAGESIZE) < 20000000 ? 0 : 1);
    };
    EXPECT_EXIT(fill(), testing::ExitedWithCode(0), "");
}

// The rest of this process gets no more memory than it has.
void forbid_memory() {
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_AS, &none);
}

// The list ends the program, by the end that it has for a lack of memory if there is one; a text is
// refused, with a line in the trace.
TEST(Memory, RunsOut) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer ends a program that asks for too much";
#endif
    constexpr auto most =
        static_cast<unsigned long>(PTRDIFF_MAX); // of a list's data, and more than there is
    const auto insert = [] { InsLastLLf(ConsLL(), most, nullptr); };
    const char *text = "^In InsLLf: malloc returned NULL \n$";
    EXPECT_EXIT(insert(), testing::ExitedWithCode(255), text);
    EXPECT_EXIT((std::set_new_handler([] { _exit(2); }), insert()), testing::ExitedWithCode(2),
                text);
    const auto exhaust = [] {
        forbid_memory();
        for (;;) {
            ConsLL();
        }
    };
    EXPECT_EXIT(exhaust(), testing::ExitedWithCode(255), "^In CreatLL: malloc returned NULL \n$");
    const auto refuse = [] {
        v_SET_LOCAL_LOG({"", 2, 1, ""});
        std::string large(4 << 20, 'x');
        { const Texts small(100, std::string(1000, 'x')); } // is left
        char name[8] = "v:f";
        forbid_memory();
        const bool refused = resolve_glbv(name, 4 << 20) == 0 && std::string(name) == "v:f" &&
                             szChar2EscapeChar(large.data(), 'y', 4 << 20) == nullptr;
        _exit(refused ? 0 : 1);
    };
    EXPECT_EXIT(refuse(), testing::ExitedWithCode(0),
                "# resolve_glbv: malloc\\(4194304\\) failed with: \\(12\\) Cannot allocate memory\n"
                ".*# szChar2EscapeChar: malloc failed\n$");
}

} // namespace
