// The list of a listing's entries, against a plain model.
#include "common/unix/listing/entry_list.h"
#include "tests/support/installation.h"

#include <gtest/gtest.h>

#include <ctime>
#include <map>
#include <random>

namespace {

// More entries than one block of memory or of output holds, against a plain model.
TEST(EntryList, ManyEntriesInTheirOrder) {
    setenv("TZ", "UTC0", 1);
    tzset();
    entry_list list("/dir");
    std::map<std::string, std::string> model;
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same numbers in every run
    const std::string common = "common\xff", letters = "aAz\xff";
    for (unsigned i = 0; i < 6000; i++) {
        std::string name = common;
        for (unsigned long part = random() % 200; part > 2; part /= 3) {
            name += std::string(part, letters[random() % 4]) + (i % 9 < 7 ? "" : "-long ");
        }
        const long long changed = static_cast<long long>(random() % 16) * 512,
                        modified = random() % 2000000000;
        const char type = "df"[random() % 2];
        const std::string info = random() % 4 == 0 ? "dev,type" : "";
        EXPECT_TRUE(list.insert(name, info));
        struct stat status = {};
        status.st_ctime = changed;
        status.st_mtime = modified;
        status.st_size = i;
        list.set_status(list.count() - 1, type, '_', status);
        std::string text = "\"/dir/" + name + "\" " + type + "_";
        for (const time_t when : {changed, modified}) {
            char time[32];
            std::strftime(time, sizeof time, " %Y.%m.%d %H:%M:%S", std::gmtime(&when));
            text += time;
        }
        model.emplace(type + name, text + " " + std::to_string(i) + " - ," + info + "\n");
    }
    std::string expected;
    for (const auto &[key, text] : model) {
        expected += text;
    }
    testing::internal::CaptureStdout();
    EXPECT_EQ(list.print(), 0);
    EXPECT_TRUE(testing::internal::GetCapturedStdout() == expected);
    EXPECT_LT(model.size(), 5900U); // some came twice
}

} // namespace
