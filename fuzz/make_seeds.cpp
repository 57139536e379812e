// make_seeds FOLDER DEFINITIONS: the inputs that each harness begins with, in a folder for each kind of input. They are
// built here, so that the repository holds no files that nobody can read.
#include <stdio.h>
#include <stdlib.h>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/bytes.h"

namespace fs = std::filesystem;

static fs::path top;
static int made = 0;

static void keep(const char *kind, const Bytes &bytes)
{
    fs::create_directories(top / kind);
    std::ofstream file(top / kind / std::to_string(made++), std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) {
        fprintf(stderr, "make_seeds: a seed cannot be written to %s\n", (top / kind).c_str());
        exit(1);
    }
}

static Bytes chars(std::initializer_list<int> values)
{
    Bytes bytes;
    for (int value : values)
        bytes += static_cast<char>(value);
    return bytes;
}

// ---- data sets ------------------------------------------------------------------------

static const Tag MODALITY = {0x0008, 0x0060}, REFERENCES = {0x0008, 0x1140}, CLASS = {0x0008, 0x0016},
                 CONTENT = {0x0040, 0xA730}, PIXELS = {0x7FE0, 0x0010};

static Bytes turned(Bytes value, size_t unit, int syntax)
{
    if ((syntax & SYNTAX_BIG_ENDIAN) != 0)
        for (size_t at = 0; at + unit <= value.size(); at += unit)
            std::reverse(value.begin() + static_cast<long>(at), value.begin() + static_cast<long>(at + unit));
    return value;
}

static Bytes class_of(const char *uid, int syntax)
{
    Bytes value = uid;
    return element(CLASS, "UI", value + Bytes(value.size() % 2, '\0'), syntax);
}

// An image of each kind of value and its group.
static Bytes image(int syntax, const char *uid = "1.2.840.10008.5.1.4.1.1.2")
{
    auto number = [syntax](uint16_t value) { return number_16(value, syntax); };
    return element({0x0008, 0x0005}, "CS", "ISO_IR 100", syntax) + class_of(uid, syntax) +
           element({0x0008, 0x0018}, "UI", "1.2.3.4.56", syntax) + element({0x0008, 0x0020}, "DA", "20210602", syntax) +
           element({0x0008, 0x0030}, "TM", "093015.2", syntax) + element(MODALITY, "CS", "CT", syntax) +
           element({0x0009, 0x0010}, "LO", "SIEMENS CT VA0  COAD", syntax) +
           element({0x0009, 0x1010}, "UN", chars({1, 2, 3, 4}), syntax) +
           element({0x0010, 0x0010}, "PN", "Doe^J\xF6rg ", syntax) + element({0x0010, 0x1010}, "AS", "045Y", syntax) +
           element({0x0018, 0x0050}, "DS", "1.25\\-3e1 ", syntax) +
           element({0x0018, 0x602C}, "FD", turned(chars({0, 0, 0, 0, 0, 0, 0xF0, 0x3F}), 8, syntax), syntax) +
           element({0x0020, 0x0013}, "IS", "-12 ", syntax) +
           element({0x0020, 0x9165}, "AT", number(0x0010) + number(0x0020), syntax) +
           element({0x0028, 0x0002}, "US", number(1), syntax) + element({0x0028, 0x0010}, "US", number(2), syntax) +
           element({0x0028, 0x0011}, "US", number(2), syntax) + element({0x0028, 0x0100}, "US", number(16), syntax) +
           element({0x0028, 0x0103}, "US", number(1), syntax) +
           element({0x0028, 0x0106}, "SS", number(0xFFFE), syntax) +
           element(PIXELS, "OW", turned(chars({1, 2, 3, 4, 5, 6, 7, 8}), 2, syntax), syntax);
}

static Bytes nested(int depth, Ending ending, int syntax, const Bytes &core)
{
    Bytes inner = core;
    for (int i = 0; i < depth; i++)
        inner = sequence(CONTENT, ending, {item({inner}, ending, syntax)}, syntax);
    return inner;
}

static Bytes references(Ending ending, int syntax)
{
    return sequence(REFERENCES, ending,
                    {item({element({0x0008, 0x1150}, "UI", "1.2.3.40", syntax),
                           element({0x0008, 0x1155}, "UI", "1.2.3.4.50", syntax)},
                          ending, syntax),
                     item({}, ending, syntax)},
                    syntax);
}

static Bytes fragments(std::initializer_list<Bytes> values)
{
    Bytes bytes;
    for (const Bytes &value : values)
        bytes += number_16(0xFFFE) + number_16(0xE000) + number_32(static_cast<uint32_t>(value.size())) + value;
    return element(PIXELS, "OB", bytes + delimiter(ELEMENT_SEQUENCE_END), SYNTAX_EXPLICIT, 0xFFFFFFFF);
}

// A media directory of two records that point at each other.
static Bytes directory()
{
    Bytes record = element({0x0004, 0x1400}, "UL", number_32(0)) + element({0x0004, 0x1410}, "US", number_16(0xFFFF)) +
                   element({0x0004, 0x1420}, "UL", number_32(0)) + element({0x0004, 0x1430}, "CS", "PATIENT ");
    return element({0x0004, 0x1130}, "CS", "SET ") + element({0x0004, 0x1200}, "UL", number_32(0)) +
           element({0x0004, 0x1202}, "UL", number_32(0)) + element({0x0004, 0x1212}, "US", number_16(0)) +
           sequence({0x0004, 0x1220}, BY_DELIMITER, {item({record}, BY_DELIMITER), item({record}, BY_LENGTH)});
}

static void keep_stream(int steps, int encodings, const Bytes &stream)
{
    keep("data_sets", chars({steps, encodings}) + stream);
}

static void make_data_sets()
{
    static const struct {
        int syntax, source, target;
        const char *uid;
    } encodings[] = {
        {SYNTAX_EXPLICIT, 6, 8, "1.2.840.10008.1.2.1"},
        {SYNTAX_IMPLICIT, 4, 16, "1.2.840.10008.1.2"},
        {SYNTAX_EXPLICIT | SYNTAX_BIG_ENDIAN, 7, 24, "1.2.840.10008.1.2.2"},
        {SYNTAX_BIG_ENDIAN, 5, 0, ""},
    };
    for (const auto &row : encodings) {
        Bytes head = row.uid[0] != '\0' ? part10_head(row.uid) : "";
        keep_stream(0, 0, head + image(row.syntax));
        keep_stream(3, row.target, head + image(row.syntax) + references(BY_LENGTH, row.syntax));
        keep_stream(0x0C, row.source | row.target, element(MODALITY, "CS", "MR", row.syntax) +
                                                       references(BY_DELIMITER, row.syntax) +
                                                       references(BY_LENGTH, row.syntax));
        for (int depth : {1, 8, 9, 10, 20})
            for (Ending ending : {BY_LENGTH, BY_DELIMITER})
                keep_stream(depth, row.source | row.target,
                            element(MODALITY, "CS", "SR", row.syntax) +
                                nested(depth, ending, row.syntax, element({0x0040, 0xA160}, "UT", "text", row.syntax)));
        keep_stream(0x31, row.source | row.target,
                    element(MODALITY, "CS", "OT", row.syntax) +
                        element({0x0029, 0x1001}, "OB", Bytes(1100, 'x'), row.syntax) +
                        element({0x0040, 0xA160}, "UT", Bytes(1025, 't'), row.syntax) +
                        element({0x0066, 0x0028}, "OL", Bytes(1028, 'l'), row.syntax));
    }
    for (const char *uid : {"1.2.840.10008.5.1.4.1.1.4", "1.2.840.10008.5.1.4.1.1.6.1", "1.2.840.10008.5.1.4.1.1.7",
                            "1.2.840.10008.5.1.4.1.1.88.11", "1.2.840.10008.5.1.4.1.1.481.2"})
        keep_stream(2, 8, part10_head("1.2.840.10008.1.2.1") + image(SYNTAX_EXPLICIT, uid));
    keep_stream(0, 0, part10_head("1.2.840.10008.1.2.4.50") + image(SYNTAX_EXPLICIT).substr(0, 200));
    keep_stream(0, 0, part10_head("1.2.840.10008.1.2.4.50") + element(MODALITY, "CS", "CT") +
                          fragments({"", chars({0xFF, 0xD8, 0xFF, 0xD9})}));
    keep_stream(0, 0, part10_head("1.2.840.10008.1.3.10") + directory());
    keep_stream(0, 0, part10_head("1.2.840.10008.1.2.1.99") + chars({0x4B, 0x04, 0x00}));
    // Faults of known makers: a UN of undefined length, item tags of the other byte order, odd lengths, ACR-NEMA.
    Bytes implicit_items = sequence(REFERENCES, BY_DELIMITER, {item({element(CLASS, "UI", "1.2.3.40", 0)}, BY_DELIMITER, 0)}, 0);
    keep_stream(0, 6, element(MODALITY, "CS", "CT") +
                          element({0x0009, 0x1001}, "UN", implicit_items.substr(8), SYNTAX_EXPLICIT, 0xFFFFFFFF));
    keep_stream(1, 4, element({0x0008, 0x0000}, "UL", number_32(8), 0) +
                          element({0x0008, 0x0001}, "UL", number_32(100), 0) +
                          element({0x0008, 0x0010}, "LO", "ACR-NEMA 2.0", 0) +
                          element({0x0008, 0x0020}, "DA", "1989.01.31", 0) + element(MODALITY, "CS", "MR", 0));
    keep_stream(1, 6, element(MODALITY, "CS", "C") + element({0x0010, 0x0010}, "PN", "odd") +
                          element({0x0010, 0x0010}, "PN", "twice ") + element({0x0008, 0x0020}, "DA", "1999.12.31"));
    keep_stream(0, 6, element(MODALITY, "CS", "CT", 8, 0x7FFE) + element({0x0008, 0x0080}, "OB", "x", 8, 0xFFFFFFF0));
}

// ---- values and texts -----------------------------------------------------------------

static Bytes piece(const Bytes &text)
{
    return static_cast<char>(text.size()) + text;
}

static const char *const TEXTS[] = {
    "",           "A",        "1.2.840.10008.1.2", "20210602",     "1999.12.31",  "12 Jan 2004", "093015.25",
    "09:30:15",   "-1.5e3",   "2147483648\\-7",    "012Y",         "Doe^Joe^^Dr^Jr", "Dr. John Q. Smith Jr.",
    "Smith, Joe", "a\\b\\c ", "20210602093015.25-0130", "ORIGINAL\\PRIMARY", "0008,0060", "nan\\inf\\1e999",
};

static void make_values()
{
    for (int vr = 0; vr < 38; vr++) {
        for (const char *text : TEXTS)
            if ((vr + made) % 4 == 0)
                keep("cleanup", chars({vr, 0x40 | (made & 15)}) + text);
        keep("cleanup", chars({vr, 0x10}) + Bytes(66, '1'));
        keep("typed_values", chars({vr, 8, vr}) + TEXTS[static_cast<size_t>(vr) % 19]);
        keep("typed_values", chars({vr, 9, 0}) + chars({1, 2, 3, 4, 5, 6, 7, 8}));
        keep("typed_values", chars({vr, 0, 0}) + Bytes(1026, '7'));
    }
    keep("typed_values", chars({0, 12, 0, 0x40, 0x49, 0x0F, 0xDB, 0, 0, 0, 42}) + piece("A\\b") + piece("Doe^Joe") + "1");
}

static void make_records()
{
    static const char *const TEMPLATES[] = {"yyyymmdd", "dd.mm.yy", "dd mmm yyyy", "yyyy.mm.dd", "hhmmss.ffffff",
                                            "hh:mm:ss", "mm/dd/yyyy", "ccc dd"};
    for (const char *text : TEXTS) {
        keep("names_and_dates", chars({1, 3, 0, 1}) + piece(text) + piece("Smith"));
        for (const char *tmplt : TEMPLATES) {
            keep("names_and_dates", chars({2, 0}) + piece(text) + piece(tmplt) + chars({1, 1}));
            keep("names_and_dates", chars({4}) + piece(text) + piece(tmplt) + chars({4}));
        }
    }
    keep("names_and_dates", chars({0x17}) + piece("yyyymmdd") + piece("hhmmss") + chars({3, 0, 1}) + piece("Joe Doe") +
                                piece("Doe") + chars({0}) + piece("20210602") + piece("yyyymmdd") + chars({1, 1}) +
                                piece("093015") + piece("hhmmss") + chars({4}));
}

// Nodes of a flat chain as the harness reads them: what the node is, its size, its value.
static void make_chains()
{
    Bytes plain = chars({0x26, 5, 4}) + "CT12", sequence = chars({0x13, 0}), item = chars({0x00, 0}),
          item_end = chars({0x01, 1}), end = chars({0x02, 1}), undefined_item = chars({0, 0}),
          fragments = chars({0x1E, 0});
    Bytes nest;
    for (int depth = 1; depth <= 12; depth++) {
        nest += sequence + item;
        Bytes closed = nest + plain;
        for (int i = 0; i < depth; i++)
            closed += item_end + end;
        keep("format_chain", chars({12, 0}) + closed);
        keep("format_chain", chars({9, 5, 6}) + plain + sequence + undefined_item + plain + item_end + end + closed);
    }
    keep("format_chain", chars({12, 0}) + plain + fragments + item + item + end + plain);
    for (int operation = 0; operation < 16; operation++)
        keep("format_chain", chars({9, 6, 4}) + sequence + item + plain + item_end + plain + sequence + item + plain + item_end +
                                 end + chars({operation, 0, 8, 0, operation, 2, 8, 9, 15, 1}));
}

// ---- definitions ----------------------------------------------------------------------

static Bytes file_text(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

static void make_definitions(const fs::path &folder)
{
    static const Bytes NEXT = "\x1E";
    static const char ATTRIBUTES[] =
        "!(0008,0060) type=1 VR=CS \"CT\" desc=\"Modality\" ; a comment\n=(0010,0020) type=2 VR=LO \"ID\"\n"
        "(0008,1140) type=1C VR=SQ\n>(0008,1150) type=1 VR=UI \"1.2.3\"\n>Include \"m\"\n-(0009,0010)\n"
        "+(0008,0008) type=1 VR=CS \"A\\B\"\n(0028,0030) type=3 VR=DS \"1\\2 3\"\n";
    static const char MACRO[] = "(0008,0100) type=1 VR=SH\n>(0008,0102) type=1 VR=SH \"DCM\"\nInclude \"n\"\n";
    keep("definition_files", chars({1}) + "a\nb\n" + NEXT + ATTRIBUTES + NEXT + "(0020,0013) type=2 VR=IS \"7\"\n" + NEXT +
                                 MACRO + NEXT + "(0008,0104) type=3\n" + NEXT + "!(0008,0060) \"MR\"\n");
    keep("definition_files", chars({2}) + "a\na\n" + NEXT + MACRO + NEXT + NEXT + "Include \"m\"\n");
    int taken = 0;
    std::vector<fs::path> paths;
    for (const auto &entry : fs::directory_iterator(folder))
        if (entry.is_regular_file())
            paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    for (const fs::path &path : paths) {
        Bytes text = file_text(path), name = path.filename().string();
        if (text.size() > 3500)
            text = text.substr(0, text.rfind('\n', 3500) + 1);
        if (name.starts_with("DICOM_Attributes_") && taken++ % 16 == 0)
            keep("definition_files", chars({0}) + "a\n" + NEXT + text + NEXT + NEXT + MACRO);
        if (name.starts_with("DICOM_Include_") && taken++ % 16 == 0)
            keep("definition_files", chars({0}) + "a\n" + NEXT + "Include \"m\"\n" + NEXT + NEXT + text);
        if (name.starts_with("DICOM_Private_") && taken++ % 16 == 0)
            keep("private_definitions", chars({0}) + "ACME" + NEXT + text + NEXT + text.substr(0, 200));
    }
    Bytes codes = file_text(folder / "DICOM_Codes_Anatomic_Region.txt");
    keep("code_tables", chars({0}) + "left lung" + NEXT + "eye" + NEXT + codes.substr(0, codes.find('\n', 3000) + 1));
    keep("private_definitions", chars({8, 0, 0x29}) + "ACME CT 1" + NEXT + "(0029,1001) VR=UL desc=\"A number\"\n" + NEXT +
                                    "(0029,xx02) VR=LO desc=\"A text\"\n-(0029,0010) VR=SQ\n");
    keep("code_tables", chars({0}) + "left lung" + NEXT + "chest" + NEXT +
                            "* a table\nSRT T-28000 Lung\nSRT T-28500 Left lung\n# more\nSRT T-D3000 \"Chest\"\n; end\n");
    keep("code_tables", chars({1}) + "lung" + NEXT + "table.txt" + NEXT + "SRT\tT-1 lung\r\nSRT T-2 lung\n");
}

int main(int count, char **arguments)
{
    if (count != 3) {
        fprintf(stderr, "make_seeds FOLDER DEFINITIONS\n");
        return 2;
    }
    top = arguments[1];
    make_data_sets();
    make_values();
    make_records();
    make_chains();
    make_definitions(arguments[2]);
    return 0;
}
