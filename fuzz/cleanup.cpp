// Cleanup and check of a value of any VR, of any bytes: the check changes nothing, and what it finds nothing wrong with
// cleanup leaves as it is but for blanks; cleanup ends with a value that fits its block, and a second cleanup makes it no
// longer.
#include <stdlib.h>
#include <string.h>

#include "dictionary/cleanup_internal.h"
#include "fuzz/support.h"

static const unsigned short vrs[] = {VR_AE, VR_AS, VR_AT, VR_CS, VR_DA, VR_DS, VR_DT, VR_FD, VR_FL, VR_IS,
                                     VR_LO, VR_LT, VR_OB, VR_OD, VR_OF, VR_OL, VR_OV, VR_OW, VR_PN, VR_SH,
                                     VR_SL, VR_SQ, VR_SS, VR_ST, VR_SV, VR_TM, VR_UC, VR_UI, VR_UL, VR_UN,
                                     VR_UR, VR_US, VR_UT, VR_UV, VR_RT, VR_OX, VR_UH, VR_NONE};
static const size_t VR_COUNT = sizeof vrs / sizeof vrs[0];

// Tags with rules of their own, private ones, and such whose row of the dictionary asks for a number of values.
static const struct {
    unsigned short group, element;
} tags[] = {
    {0x0008, 0x0018}, {0x0008, 0x0005}, {0x0008, 0x0008}, {0x0009, 0x0010}, {0x0009, 0x1001}, {0x0010, 0x0010},
    {0x0018, 0x0050}, {0x0020, 0x0032}, {0x0020, 0x0037}, {0x0028, 0x0030}, {0x0028, 0x3002}, {0x7FE0, 0x0010},
    {0x0008, 0x0020}, {0x0008, 0x0030}, {0x0004, 0x1500}, {0x0000, 0x0000},
};

struct Node : DICOM_List {
    Node(const DICOM_List &like, const std::string &value) : DICOM_List(like)
    {
        Block block(value);
        size = block.size;
        data = block.release();
    }
    ~Node() { free(data); }
    Node(const Node &) = delete;

    std::string value() const { return data != nullptr ? std::string(data, static_cast<size_t>(size)) : ""; }
};

static DICOM_List header_of(Input *input)
{
    DICOM_List header = {};
    unsigned char what = input->byte(), where = input->byte();
    header.vr_explicit = what < VR_COUNT * 6 ? vrs[what % VR_COUNT] : input->word();
    header.group = tags[where & 15].group;
    header.element = tags[where & 15].element;
    header.flag = ORIGIN_DICOM;
    static const unsigned char syntaxes[] = {SYNTAX_EXPLICIT, SYNTAX_EXPLICIT | SYNTAX_BIG_ENDIAN, SYNTAX_IMPLICIT,
                                             SYNTAX_EXPLICIT | SYNTAX_SWAPPED_WORDS};
    header.syntax = syntaxes[where >> 4 & 3];
    if ((where & 0x40) != 0)
        header.db = NEMA_db_Locate(header.group, header.element);
    return header;
}

static bool has_report;

static void note_report(void *, HWND, int level, const char *)
{
    has_report |= level <= 10;
}

// Padding and blanks around values are no fault.
static std::string without_blanks(const std::string &value)
{
    std::string rest;
    for (char c : value)
        if (c != ' ' && c != '\0')
            rest += c;
    return rest;
}

static void check_one(const DICOM_List &header, const std::string &value)
{
    Node checked(header, value);
    has_report = false;
    int passed = DICOM_Attribute_Syntax_Tag(nullptr, &checked);
    bool is_whole = value.find('\0') >= value.find_last_not_of('\0') + 1;   // the check of texts ends at a zero byte
    bool is_sound = passed && !has_report && is_whole;
    HOLDS(checked.value() == value);

    Node cleaned(header, value);
    int result = DICOM_Attribute_Cleanup_Tag(nullptr, &cleaned);
    HOLDS(cleaned.data != nullptr || cleaned.size == 0);
    if (is_sound) {
        HOLDS(result == 1);
        if (without_blanks(cleaned.value()) != without_blanks(value))
            fail("VR %c%c: '%s' is sound, and becomes '%s'", header.vr_explicit >> 8, header.vr_explicit & 0xFF,
                 value.c_str(), cleaned.value().c_str());
    }
    std::string once = cleaned.value();
    Node again(cleaned, once);
    DICOM_Attribute_Cleanup_Tag(nullptr, &again);
    HOLDS(again.size <= static_cast<int>(once.size()) + static_cast<int>(once.size() % 2));
}

// A chain of two, with the turning of byte order in front.
static void clean_chain(const DICOM_List &header, const std::string &value)
{
    Node first(header, value), second(header, value.substr(value.size() / 2));
    first.next = &second;
    DICOM_Root root = {};
    DICOM_Attribute_Syntax(nullptr, &root, &first);
    DICOM_Attribute_Cleanup(nullptr, &root, &first);
    HOLDS(first.data != nullptr || first.size == 0);
    DICOM_Str_To_CS(const_cast<char *>(std::string(value + std::string(17, '\0')).c_str()));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    Input input(bytes, size);
    DICOM_List header = header_of(&input);
    Fresh_Library library(header.element % 4 == 0);
    Error_Set_Sink(note_report, nullptr);
    std::string value = input.rest();
    check_one(header, value);
    clean_chain(header, value);
    return 0;
}
