// The heap of nodes and values: blocks keep their bytes until they are freed, whoever frees them, and chunks come back.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "frame/frame_internal.h"
#include "tree/Velmora_DICOM.h"

struct Block {
    char *bytes;
    size_t size;
    char fill;
};

static Block take(Node_Place *place, size_t size, char fill, Node_Block_Head head)
{
    Block block = {static_cast<char *>(node_heap_take(place, size, head)), size, fill};
    EXPECT_NE(block.bytes, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block.bytes) % 8, 0u);
    memset(block.bytes, fill, size);
    return block;
}

static void expect_kept(const Block &block, size_t size)
{
    for (size_t i = 0; i < size; i++)
        ASSERT_EQ(block.bytes[i], block.fill);
}

// Several readers at a time, closed and opened again; blocks released in any order, and some of them moved.
TEST(NodeHeap, KeepsEachBlockUntilItIsFreed)
{
    std::mt19937 random(7);
    auto below = [&](size_t n) { return random() % n; };
    Node_Place places[3] = {};
    std::vector<Block> blocks;
    for (int step = 0; step < 200000; step++) {
        bool is_growing = step / 20000 % 2 == 0;
        if (blocks.empty() || below(10) < (is_growing ? 7u : 3u)) {
            size_t size = below(20) == 0 ? below(1100) : below(100);
            blocks.push_back(take(&places[below(3)], size, static_cast<char>(step), VALUE_BLOCK));
            continue;
        }
        std::swap(blocks[below(blocks.size())], blocks.back());
        Block &last = blocks.back();
        expect_kept(last, last.size);
        if (below(10) == 0) {
            unsigned int size = static_cast<unsigned int>(below(2000) + 1);
            ASSERT_EQ(DICOM_Lib_Realloc(&last.bytes, size), 1);
            expect_kept(last, std::min<size_t>(last.size, size));
        }
        DICOM_Lib_Free(&last.bytes);
        blocks.pop_back();
        if (below(500) == 0)
            node_heap_close(&places[below(3)]);
    }
    for (Block &block : blocks) {
        expect_kept(block, block.size);
        DICOM_Lib_Free(&block.bytes);
    }
    for (Node_Place &place : places)
        node_heap_close(&place);
}

// Blocks of no bytes, down to the last place of a chunk.
TEST(NodeHeap, TellsEmptyBlocksApart)
{
    Node_Place place = {};
    for (Node_Block_Head head : {NODE_BLOCK, VALUE_BLOCK}) {
        std::vector<void *> blocks;
        for (int i = 0; i < 20000; i++)
            blocks.push_back(node_heap_take(&place, 0, head));
        std::vector<void *> sorted = blocks;
        std::sort(sorted.begin(), sorted.end());
        EXPECT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end());
        bool starts_a_chunk = false;
        for (void *block : blocks)
            starts_a_chunk |= is_in_node_heap(block) && reinterpret_cast<uintptr_t>(block) % (64 << 10) == 0;
        EXPECT_FALSE(starts_a_chunk);
        for (void *block : blocks)
            frame_free(block);
    }
    node_heap_close(&place);
}

// Of many data sets, one after the other, only the largest takes addresses of its own.
TEST(NodeHeap, UsesItsChunksAgain)
{
    uintptr_t least = UINTPTR_MAX, greatest = 0;
    bool is_ours = true;
    for (int set = 0; set < 300; set++) {
        Node_Place place = {};
        std::vector<Block> blocks;
        for (int i = 0; i < (set % 3 == 0 ? 5000 : 50); i++)
            blocks.push_back(take(&place, 96, 'n', NODE_BLOCK));
        node_heap_close(&place);
        Freed_Blocks freed = {};
        for (const Block &block : blocks) {
            is_ours = is_ours && is_in_node_heap(block.bytes);
            least = std::min(least, reinterpret_cast<uintptr_t>(block.bytes));
            greatest = std::max(greatest, reinterpret_cast<uintptr_t>(block.bytes));
            if (set % 2 == 0)
                frame_free(block.bytes);
            else
                count_freed(&freed, block.bytes);
        }
        free_counted(&freed);
    }
    if (!is_ours)
        GTEST_SKIP() << "the blocks come from malloc here";
    EXPECT_LT(greatest - least, 4u << 20);
}

TEST(NodeHeap, LetsOneThreadFreeWhatAnotherMakes)
{
    for (int round = 0; round < 20; round++) {
        Node_Place place = {};
        std::vector<Block> made[2], mine;
        for (int i = 0; i < 20000; i++)
            (i % 3 == 0 ? mine : made[i % 2]).push_back(take(&place, 40, static_cast<char>(i), VALUE_BLOCK));
        auto release = [](std::vector<Block> *blocks) {
            for (Block &block : *blocks) {
                expect_kept(block, block.size);
                DICOM_Lib_Free(&block.bytes);
            }
        };
        std::thread first(release, &made[0]), second(release, &made[1]);
        for (int i = 0; i < 5000; i++)
            mine.push_back(take(&place, 96, 'x', VALUE_BLOCK));
        release(&mine);
        first.join();
        second.join();
        node_heap_close(&place);
    }
}

// A text stays, whoever frees it and how often; one that is made larger is a block of its own.
TEST(NodeHeap, KeepsTextsThatNodesShare)
{
    char *item = node_heap_text("\x01Item", 6);
    if (item == nullptr)
        GTEST_SKIP() << "there is no heap of this kind here";
    EXPECT_EQ(node_heap_text("", 0), nullptr);
    EXPECT_EQ(node_heap_text(std::string(300, 'x').c_str(), 301), nullptr);
    std::vector<std::string> texts;
    std::vector<char *> kept;
    for (int i = 0; i < 1000; i++) {   // more than there is room for
        texts.push_back(std::string(static_cast<size_t>(i % 250), 'x') + std::to_string(i));
        kept.push_back(node_heap_text(texts.back().c_str(), texts.back().size() + 1));
    }
    EXPECT_EQ(kept.back(), nullptr);
    for (int times = 0; times < 3; times++) {
        for (size_t i = 0; i < texts.size(); i++) {
            char *text = kept[i];
            if (text == nullptr)
                continue;
            EXPECT_EQ(text, texts[i]);
            EXPECT_EQ(node_heap_text(texts[i].c_str(), texts[i].size() + 1), text);
            DICOM_Lib_Free(&text);
        }
    }
    char *larger = item;
    ASSERT_EQ(DICOM_Lib_Realloc(&larger, 100), 1);
    EXPECT_NE(larger, item);
    EXPECT_STREQ(larger, "\x01Item");
    EXPECT_STREQ(item, "\x01Item");
    DICOM_Lib_Free(&larger);
}
