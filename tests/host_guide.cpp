// The host guide: its code is that of the example it walks through.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <vector>

static std::string read_text(const std::string &path)
{
    std::ifstream stream(path);
    std::stringstream text;
    text << stream.rdbuf();
    return text.str();
}

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

TEST(HostGuide, ShowsTheCodeOfTheExample)
{
    std::string example = read_text(VELMORA_SOURCE_DIR "/examples/conform.cpp");
    std::vector<std::string> blocks = code_blocks(read_text(VELMORA_SOURCE_DIR "/docs/host-guide.md"));
    EXPECT_EQ(blocks.size(), 11u);
    for (const std::string &block : blocks)
        EXPECT_NE(example.find(block), std::string::npos) << block;
}
