// Most elements take a short way through the reading loop. It leads to what the library's own calls make of them.
#include <gtest/gtest.h>

#include <random>
#include <set>

#include "dictionary/DICOM_Dictionary.h"
#include "host/host_internal.h"
#include "read/DICOM_Read.h"
#include "tests/host_listing.h"
#include "tree/tree_internal.h"

using namespace velmora_host;

// ---- headers --------------------------------------------------------------------------

struct Random {
    std::mt19937 engine;
    unsigned int below(unsigned int n) { return static_cast<unsigned int>(engine() % n); }
    uint16_t below_16(unsigned int n) { return static_cast<uint16_t>(below(n)); }
    template <class Value, size_t Count>
    Value one_of(const Value (&values)[Count])
    {
        return values[below(Count)];
    }
};

// A header and what may follow it: tags that the element reader repairs, VRs of all kinds, lengths around each limit.
static Bytes random_header(Random *random, int mode)
{
    static const uint16_t GROUPS[] = {0x0002, 0x0008, 0x0009, 0x0040, 0x7FE0, 0xFFFE, 0xFEFF, 0x3F3F, 0xFFFF, 0};
    static const uint16_t ELEMENTS[] = {0x0010, 0x0275, 0xE000, 0xE00D, 0xE0DD, 0x00E0, 0x003F, 0xFFFF, 0};
    static const char VRS[] = "AECSDSFDLOOBOWOXOFODOLOVSQSSSVSTUCUHULUNURUSUTUVRTZZ?\?xx  @A[@`AaaA\0\0\0";
    int syntax = mode & SYNTAX_BIG_ENDIAN;
    Bytes bytes(12 + random->below(40), '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(random->below(3) == 0 ? random->below(256) : random->below(2) * ' ');
    unsigned int left = static_cast<unsigned int>(bytes.size());
    const unsigned int lengths[] = {0, 6, 4, 13, left - 12, left - 11, left - 8, left - 7, left, left + 2, 0xFFFF,
                                    NO_LENGTH, NO_LENGTH - 1, 0x80000000u, 0x7FFFFFFFu};
    auto put = [&](size_t at, const Bytes &what) { bytes.replace(at, what.size(), what); };
    if (random->below(8) != 0)
        put(0, number_16(random->one_of(GROUPS), syntax));
    if (random->below(4) != 0)
        put(2, number_16(random->one_of(ELEMENTS), syntax));
    if (random->below(2) != 0)
        put(4, number_32(random->one_of(lengths), syntax));
    if (random->below(4) != 0)
        put(4, Bytes(VRS + 2 * random->below(sizeof VRS / 2), 2));
    if (random->below(2) != 0)
        put(6, number_16(random->below(4) == 0 ? uint16_t{8} : random->below_16(left + 4), syntax));
    if (random->below(2) != 0)
        put(6, Bytes(2, '\0') + number_32(random->one_of(lengths), syntax));
    return bytes;
}

TEST(ShortWays, ReadAPlainHeaderAsTheElementReaderDoes)
{
    static const unsigned char MODES[] = {MODE_IMPLICIT_LITTLE, MODE_EXPLICIT_LITTLE, MODE_EXPLICIT_LITTLE,
                                          MODE_EXPLICIT_BIG, SYNTAX_BIG_ENDIAN};
    Random random = {std::mt19937(11)};
    int plain = 0;
    for (int i = 0; i < 400000; i++) {
        unsigned char mode = random.one_of(MODES);
        int at = static_cast<int>(random.below(3)) * 5;
        Bytes bytes = Bytes(static_cast<size_t>(at), 'x') + random_header(&random, mode);
        int bound = static_cast<int>(bytes.size()) - static_cast<int>(random.below(3));
        Header header = {};
        if (!peek_plain_header(bytes.data(), at, bound, mode, &header))
            continue;
        plain++;
        Reports said(10);
        int cursor = at, length = 0;
        unsigned short group = 0, element = 0, vr = 0;
        ASSERT_EQ(NEMA_Get_Data_Element(nullptr, 0, reinterpret_cast<intptr_t>(&cursor), bytes.data(), mode, &group,
                                        &element, &vr, &length, bound), 1);
        ASSERT_EQ(said.all.size(), 0u) << said.all[0].text;
        ASSERT_EQ(group, header.group);
        ASSERT_EQ(element, header.element);
        ASSERT_EQ(vr, header.vr);
        ASSERT_EQ(static_cast<unsigned int>(length), header.length);
        ASSERT_EQ(cursor, at + header.size);
        ASSERT_TRUE(header.length == NO_LENGTH || header.length <= static_cast<unsigned int>(bound - cursor));
    }
    EXPECT_GT(plain, 20000);
}

// ---- what is known of a tag -----------------------------------------------------------

// Tags of all groups that DICOM_Attribute_Complement knows something about. Creators of private blocks stand in other
// groups than the elements that could be of their blocks: what a creator says is another matter.
static std::set<unsigned int> random_tags()
{
    static const unsigned int GROUPS[] = {0x0004, 0x0008, 0x0010, 0x0018, 0x0020, 0x0028, 0x0040, 0x0054, 0x1000,
                                          0x1010, 0x3006, 0x5000, 0x501E, 0x6000, 0x60FE, 0x7F00, 0x7F10, 0x7FDE, 0x7FE0, 0xFFFC};
    static const unsigned int ELEMENTS[] = {0, 0x0001, 0x0010, 0x0011, 0x0012, 0x0013, 0x0106, 0x3000, 0x3100, 0x31FF};
    Random random = {std::mt19937(5)};
    std::set<unsigned int> tags;
    for (int i = 0; i < 60000; i++) {
        unsigned int group = random.below(4) == 0 ? 4 + random.below(0xFFF8) : random.one_of(GROUPS);
        unsigned int element = random.below(2) == 0 ? random.below(0x10000) : random.one_of(ELEMENTS);
        if (random.below(2) == 0)
            element &= 0x00FF;
        bool may_be_of_block = group % 4 == 1 || element < 0x1000, may_be_creator = group % 4 == 3 || element > 0x00FF;
        if (group % 2 == 0 || (may_be_of_block && may_be_creator))
            tags.insert(group << 16 | element);
    }
    tags.erase(0x3F3F003Fu);
    for (unsigned int element = 0; element < 0x10000; element++) {
        tags.erase(0xFFFE0000u | element);
        tags.erase(0xFEFF0000u | element);
    }
    return tags;
}

TEST(ShortWays, KnowOfEachTagWhatComplementKnows)
{
    std::set<unsigned int> tags = random_tags();
    for (const char *vr : {"LO", "FD", "UR", ""}) {
        int syntax = *vr != '\0' ? MODE_EXPLICIT_LITTLE : MODE_IMPLICIT_LITTLE;
        Bytes bytes;
        for (unsigned int tag : tags)
            bytes += element({static_cast<unsigned short>(tag >> 16), static_cast<unsigned short>(tag)}, vr,
                             "12345678", syntax);
        Loaded loaded(bytes, static_cast<unsigned char>(syntax));
        ASSERT_EQ(loaded.result, LOADED) << loaded.error;
        size_t compared = 0;
        Reports quiet(0);
        for (const DICOM_List *node = loaded.set.tree; node != nullptr; node = node->next, compared++) {
            char value[] = "12345678";
            DICOM_List same = {};
            same.group = node->group;
            same.element = node->element;
            same.vr_explicit = *vr != '\0' ? pack_letters(vr[0], vr[1]) : static_cast<unsigned short>(VR_NONE);
            same.syntax = static_cast<unsigned char>(syntax);
            same.flag = ORIGIN_DICOM;
            same.size = 8;
            same.data = value;
            DICOM_Root root = {};
            DICOM_Attribute_Complement(nullptr, &root, &same);
            if (same.vr == VR_NONE)
                same.vr = same.vr_explicit;
            DICOM_Attribute_Format_VR(nullptr, &same);
            SCOPED_TRACE(testing::Message() << std::hex << same.group << ',' << same.element << ' ' << vr);
            ASSERT_EQ(node->db, same.db);
            ASSERT_EQ(node->vr, (same.flag & FLAG_GUESSED_VR) != 0 ? static_cast<unsigned short>(VR_UN) : same.vr);
            ASSERT_EQ(node->vr_explicit, same.vr_explicit);
            ASSERT_STREQ(node->description, same.description);
            DICOM_Lib_Free(&same.description);
        }
        EXPECT_EQ(compared, tags.size());
    }
}
