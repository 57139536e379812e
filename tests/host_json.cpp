// velmora dump --format json: the DICOM JSON model.
#include <gtest/gtest.h>

#include "tests/host_runs.h"
#include "tests/support/bytes.h"

static const Bytes EXPLICIT = part10_head("1.2.840.10008.1.2.1");

static Outcome dump(const Bytes &bytes, std::vector<std::string> arguments = {})
{
    Folder folder;
    folder.write("a.dcm", bytes);
    arguments.insert(arguments.begin(), {"dump", "--format", "json"});
    arguments.push_back("a.dcm");
    Outcome run = velmora(arguments, "", folder.path);
    for (size_t at; (at = run.out.find(folder.path)) != std::string::npos;)
        run.out.replace(at, folder.path.size(), "/FOLDER");
    return run;
}

struct Json_Row {
    const char *what;
    Bytes element;
    const char *expected;   // the object without its braces
};

static Bytes with_charset(const char *charset, const Bytes &rest)
{
    return element({0x0008, 0x0005}, "CS", charset) + rest;
}

static const char SAID[] = R"("00080005":{"vr":"CS","Value":["ISO_IR 192"]},)";

TEST(Json, HasEachVrInItsForm)
{
    static const Json_Row rows[] = {
        {"empty", element({0x0010, 0x0010}, "PN", ""), R"("00100010":{"vr":"PN"})"},
        {"blank", element({0x0010, 0x0020}, "LO", "  "), R"("00100020":{"vr":"LO"})"},
        {"texts and what is missing among them", element({0x0008, 0x0008}, "CS", "ORIGINAL \\\\ A"),
         R"("00080008":{"vr":"CS","Value":["ORIGINAL",null,"A"]})"},
        {"a text with anything in it", element({0x0010, 0x4000}, "LT", " \"a\\b\"\t\r\n\x01 "),
         R"("00104000":{"vr":"LT","Value":[" \"a\\b\"\t\r\n\u0001"]})"},
        {"names", element({0x0010, 0x1001}, "PN", "Doe^Jane=A^B=c \\\\=X"),
         R"("00101001":{"vr":"PN","Value":[{"Alphabetic":"Doe^Jane","Ideographic":"A^B","Phonetic":"c"},null,)"
         R"({"Ideographic":"X"}]})"},
        {"decimals", element({0x0028, 0x0030}, "DS", "+01.50\\-.5e3 \\5.\\0\\abc\\1e999\\"),
         R"("00280030":{"vr":"DS","Value":[1.50,-0.5e3,5,0,"abc","1e999",null]})"},
        {"integers", element({0x0020, 0x0013}, "IS", " 007\\-3 "), R"("00200013":{"vr":"IS","Value":[7,-3]})"},
        {"tags", element({0x0028, 0x0009}, "AT", Bytes("\x10\x00\xAB\xCD\x18\x00\x63\x10", 8)),
         R"("00280009":{"vr":"AT","Value":["0010CDAB","00181063"]})"},
        {"16 bits", element({0x0028, 0x0010}, "US", Bytes("\xFF\xFF\x01\x00", 4)),
         R"("00280010":{"vr":"US","Value":[65535,1]})"},
        {"signed", element({0x0028, 0x0106}, "SS", Bytes("\xFF\xFF", 2)), R"("00280106":{"vr":"SS","Value":[-1]})"},
        {"32 bits", element({0x0018, 0x6020}, "SL", Bytes("\xFE\xFF\xFF\xFF", 4)) +
         element({0x0018, 0x6022}, "UL", Bytes("\xFE\xFF\xFF\xFF", 4)),
         R"("00186020":{"vr":"SL","Value":[-2]},"00186022":{"vr":"UL","Value":[4294967294]})"},
        {"64 bits, as a text where a double would lose some",
         element({0x0008, 0x040C}, "UV", Bytes("\x01\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 16)) +
             element({0x0072, 0x0082}, "SV", Bytes("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 8)),
         R"("0008040C":{"vr":"UV","Value":[1,"18446744073709551615"]},"00720082":{"vr":"SV","Value":[-1]})"},
        {"floats in the fewest digits, and what is no number",
         element({0x0010, 0x9431}, "FL", Bytes("\xCD\xCC\xCC\x3D\0\0\xC0\x7F\0\0\x80\x7F\0\0\x80\xFF", 16)),
         R"("00109431":{"vr":"FL","Value":[0.1,"NaN","inf","-inf"]})"},
        {"doubles", element({0x0040, 0x9225}, "FD", Bytes("\x9A\x99\x99\x99\x99\x99\xB9\x3F", 8)),
         R"("00409225":{"vr":"FD","Value":[0.1]})"},
        {"bytes", element({0x0042, 0x0011}, "OB", "abcd"), R"("00420011":{"vr":"OB","InlineBinary":"YWJjZA=="})"},
        {"a VR that is none", element({0x0009, 0x1001}, "ZZ", "ab"), R"("00091001":{"vr":"UN","InlineBinary":"YWI="})"},
        {"later VRs", element({0x0008, 0x0119}, "UC", "a\\b ") + element({0x0008, 0x1190}, "UR", "http://a\\b "),
         R"("00080119":{"vr":"UC","Value":["a","b"]},"00081190":{"vr":"UR","Value":["http://a\\b"]})"},
        {"group lengths are left out", element({0x0008, 0x0000}, "UL", number_32(10)) +
         element({0x0008, 0x0060}, "CS", "CT"), R"("00080060":{"vr":"CS","Value":["CT"]})"},
        {"sequences",
         sequence({0x0040, 0x0275}, BY_DELIMITER,
                  {item({element({0x0040, 0x0009}, "SH", "A1")}, BY_DELIMITER), item({}), item({})}) +
             sequence({0x0040, 0x0280}, BY_LENGTH, {}),
         R"("00400275":{"vr":"SQ","Value":[{"00400009":{"vr":"SH","Value":["A1"]}},{},{}]},"00400280":{"vr":"SQ"})"},
    };
    for (const Json_Row &row : rows) {
        Outcome run = dump(EXPLICIT + row.element);
        EXPECT_EQ(run.out, "{" + std::string(row.expected) + "}\n") << row.what;
        EXPECT_EQ(run.status, 0) << row.what;
    }
}

TEST(Json, IsInUtf8ByTheCharacterSetOfEachItem)
{
    Bytes inner =
        item({with_charset("\\ISO 2022 IR 87 ", element({0x0010, 0x0010}, "PN", "A=\033$B;3ED\033(B"))}, BY_LENGTH);
    Bytes plain = item({element({0x0010, 0x0010}, "PN", "\xC4" "a")});
    Outcome run = dump(EXPLICIT + with_charset("ISO_IR 100", element({0x0010, 0x0010}, "PN", "\xC4" "b") +
        sequence({0x0040, 0x0275}, BY_LENGTH, {inner, plain})));
    EXPECT_EQ(run.out, "{" + std::string(SAID) + R"("00100010":{"vr":"PN","Value":[{"Alphabetic":"Äb"}]},)" +
                           R"("00400275":{"vr":"SQ","Value":[{)" + SAID +
                           R"("00100010":{"vr":"PN","Value":[{"Alphabetic":"A","Ideographic":"山田"}]}},)" +
                           R"({"00100010":{"vr":"PN","Value":[{"Alphabetic":"Äa"}]}}]}})" + "\n");
    EXPECT_EQ(run.err, "");
}

TEST(Json, TellsOfTextsThatAreBroken)
{
    Bytes bytes = EXPLICIT + element({0x0010, 0x0010}, "PN", "M\xFCller");
    Outcome run = dump(bytes);
    EXPECT_EQ(run.out, R"({"00100010":{"vr":"PN","Value":[{"Alphabetic":"M�ller"}]}})" "\n");
    EXPECT_EQ(run.err, "velmora: a.dcm: at offset 186: (0010,0010) what is no character of its set is shown as U+FFFD "
                       "(1 times)\n");
    run = dump(bytes, {"--charset", "ISO_IR 100"});
    EXPECT_EQ(run.out, R"({"00100010":{"vr":"PN","Value":[{"Alphabetic":"Müller"}]}})" "\n");
    run = dump(EXPLICIT + with_charset("FOO ", element({0x0010, 0x0010}, "PN", "A ")));
    EXPECT_EQ(run.out, "{" + std::string(SAID) + R"("00100010":{"vr":"PN","Value":[{"Alphabetic":"A"}]}})" "\n");
    EXPECT_EQ(run.err, "velmora: a.dcm: at offset 186: (0008,0005) 'FOO ' is no character set that is known\n");
    EXPECT_EQ(dump(bytes, {"--charset", "FOO"}).status, 2);
}

TEST(Json, RefersToWhatIsLong)
{
    Bytes head = EXPLICIT + element({0x0042, 0x0011}, "OB", Bytes(8, 'a'));
    Outcome run = dump(head + element({0x7FE0, 0x0010}, "OW", Bytes(1026, 'x')));
    EXPECT_EQ(run.out, R"({"00420011":{"vr":"OB","InlineBinary":"YWFhYWFhYWE="},"7FE00010":{"vr":"OW","BulkDataURI":)"
                       R"("file:///FOLDER/a.dcm#offset=218&length=1026"}})" "\n");
    run = dump(head, {"--inline", "7"});
    EXPECT_EQ(run.out, R"({"00420011":{"vr":"OB","BulkDataURI":"file:///FOLDER/a.dcm#offset=198&length=8"}})" "\n");

    // Encapsulated: the items, without the delimiter behind them.
    Bytes fragments = element({0x7FE0, 0x0010}, "OB", item({}) + item({"abcd"}) + delimiter(ELEMENT_SEQUENCE_END),
                              SYNTAX_EXPLICIT, 0xFFFFFFFF);
    run = dump(EXPLICIT + fragments, {"--inline", "0"});
    EXPECT_EQ(run.out, R"({"7FE00010":{"vr":"OB","BulkDataURI":"file:///FOLDER/a.dcm#offset=198&length=20"}})" "\n");
}

TEST(Json, TurnsWordsOfBigEndianAround)
{
    int big = SYNTAX_EXPLICIT | SYNTAX_BIG_ENDIAN;
    Outcome run = dump(part10_head("1.2.840.10008.1.2.2") + element({0x0028, 0x0010}, "US", Bytes("\x01\x02", 2), big) +
                       element({0x0040, 0x9225}, "FD", Bytes("\x3F\xB9\x99\x99\x99\x99\x99\x9A", 8), big) +
                       element({0x7FE0, 0x0010}, "OW", Bytes("\0\x01\0\x02", 4), big));
    EXPECT_EQ(run.out, R"({"00280010":{"vr":"US","Value":[258]},"00409225":{"vr":"FD","Value":[0.1]},)"
                       R"("7FE00010":{"vr":"OW","InlineBinary":"AQACAA=="}})" "\n");
}

// In a stream without VRs the dictionary leaves some open.
TEST(Json, SettlesWhatTheDictionaryLeavesOpen)
{
    int none = SYNTAX_IMPLICIT;
    Bytes head = part10_head("1.2.840.10008.1.2");
    Bytes values = element({0x0028, 0x0106}, "SS", Bytes("\xFF\xFF", 2), none);
    Bytes pixels = element({0x6000, 0x3000}, "OW", "ab", none) + element({0x7FE0, 0x0010}, "OW", "cd", none);
    for (char is_signed : {'\0', '\1'}) {
        Outcome run =
            dump(head + element({0x0028, 0x0103}, "US", Bytes(1, is_signed) + Bytes(1, '\0'), none) + values + pixels);
        EXPECT_EQ(run.out, std::string(R"({"00280103":{"vr":"US","Value":[)") + static_cast<char>('0' + is_signed) +
            R"(]},"00280106":{"vr":")" + (is_signed ? R"(SS","Value":[-1]})" : R"(US","Value":[65535]})") +
            R"(,"60003000":{"vr":"OW","InlineBinary":"YWI="},"7FE00010":{"vr":"OW","InlineBinary":"Y2Q="}})" "\n");
    }
}

TEST(Json, KeepsTheOrderOfTagsAndEachOnce)
{
    Outcome run = dump(EXPLICIT + element({0x0020, 0x0013}, "IS", "1 ") + element({0x0010, 0x0020}, "LO", "b ") +
                       element({0x0020, 0x0013}, "IS", "2 "));
    EXPECT_EQ(run.out, R"({"00100020":{"vr":"LO","Value":["b"]},"00200013":{"vr":"IS","Value":[1]}})" "\n");
    EXPECT_NE(run.err.find("(0020,0013) stands here more than once; the first is written"), std::string::npos)
        << run.err;
}

TEST(Json, WritesWhatWasAskedFor)
{
    Bytes bytes =
        EXPLICIT + element({0x0010, 0x0010}, "PN", "Doe ") +
        sequence({0x0040, 0x0275}, BY_LENGTH,
                 {item({element({0x0010, 0x0020}, "LO", "b ")}), item({element({0x0040, 0x0009}, "SH", "A1")})});
    EXPECT_EQ(dump(bytes, {"--only", "0040,0009"}).out,
              R"({"00400275":{"vr":"SQ","Value":[{},{"00400009":{"vr":"SH","Value":["A1"]}}]}})"
              "\n");
    EXPECT_EQ(dump(bytes, {"--only", "PatientName", "--indent"}).out,
              "{\n  \"00100010\": {\n    \"vr\": \"PN\",\n    \"Value\": [\n      {\n        \"Alphabetic\": \"Doe\"\n"
              "      }\n    ]\n  }\n}\n");
    EXPECT_EQ(dump(bytes, {"--only", "0002,*", "--with-head"}).out,
              R"({"00020001":{"vr":"OB","InlineBinary":"AAE="},"00020010":{"vr":"UI","Value":["1.2.840.10008.1.2.1"]}})"
              "\n");
    EXPECT_EQ(dump(bytes, {"--only", "0002,0010"}).out, "{}\n");
    EXPECT_EQ(dump(EXPLICIT + element({0x7FE0, 0x0010}, "OW", "ab"), {"--only", "PixelData"}).out,
              R"({"7FE00010":{"vr":"OW","InlineBinary":"YWI="}})" "\n");
}

// "SQ of SQ of ...": a sequence in an item, count times, around an element.
static Bytes nested(int count)
{
    Bytes inside = element({0x0008, 0x0100}, "SH", "X1");
    for (int i = 0; i < count; i++)
        inside = sequence({0x0040, 0xA730}, i % 2 ? BY_LENGTH : BY_DELIMITER,
                          {item({inside}, i % 3 ? BY_LENGTH : BY_DELIMITER)});
    return inside;
}

static int count_of(const std::string &text, const std::string &part)
{
    int count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at++)
        count++;
    return count;
}

TEST(Json, OpensSequencesThatTheTreeDoesNot)
{
    for (int depth : {9, 10, 11, 25, 100, 101, 3000}) {
        Outcome run = dump(EXPLICIT + nested(depth));
        int opened = depth < 100 ? depth : 100;
        EXPECT_EQ(count_of(run.out, R"({"vr":"SQ","Value":[{)"), opened) << depth;
        EXPECT_EQ(count_of(run.out, R"("00080100":{"vr":"SH","Value":["X1"]})"), depth <= 100) << depth;
        EXPECT_EQ(count_of(run.out, R"("0040A730":{"vr":"UN",)"), depth > 100) << depth;
        EXPECT_EQ(run.status, 0);
    }
    EXPECT_NE(dump(EXPLICIT + nested(101)).err.find("(0040,a730) lies deeper than 100 sequences and is written as "
        "bytes"), std::string::npos);
}
