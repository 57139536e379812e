// The host guide: its code is that of the examples it walks through.
#include <gtest/gtest.h>

#include "tests/support/checkout.h"

static std::vector<std::string> code_blocks(const std::string &guide)
{
    static const std::string start = "```cpp\n", end = "```\n";
    std::vector<std::string> blocks;
    for (size_t at = 0; (at = guide.find(start, at)) != std::string::npos;) {
        at += start.size();
        blocks.push_back(guide.substr(at, guide.find(end, at) - at));
    }
    return blocks;
}

TEST(HostGuide, ShowsTheCodeOfTheExamples)
{
    std::string guide = bytes_of(source_path("docs/host-guide.md"));
    size_t second = guide.find("\n# Second host");
    ASSERT_NE(second, std::string::npos);
    const struct { const char *example; std::string part; size_t blocks; } rows[] = {
        {"read_file.cpp", guide.substr(0, second), 9}, {"conform.cpp", guide.substr(second), 11},
    };
    for (const auto &row : rows) {
        std::string example = bytes_of(source_path(std::string("examples/") + row.example));
        std::vector<std::string> blocks = code_blocks(row.part);
        EXPECT_EQ(blocks.size(), row.blocks) << row.example;
        for (const std::string &block : blocks)
            EXPECT_NE(example.find(block), std::string::npos) << block;
    }
}
