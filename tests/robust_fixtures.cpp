#include "tests/robust_fixtures.h"

#include <getopt.h>
#include <stdlib.h>
#include <unistd.h>
#include <zlib.h>
#include <filesystem>

#include "host/program/commands.h"
#include "host/program/folding.h"
#include "host/program/messages.h"
#include "host/program/output.h"

// ---- data sets ------------------------------------------------------------------------

// Names, dates, numbers, a sequence of two items, private attributes, in one of three encodings.
static Bytes body(int syntax, Ending ending)
{
    auto make = [syntax](Tag tag, const char *vr, const Bytes &value) { return element(tag, vr, value, syntax); };
    Bytes steps = sequence({0x0040, 0x0275}, ending,
                           {item({make({0x0040, 0x0007}, "LO", "Knee"), make({0x0040, 0x0009}, "SH", "A1")}, ending, syntax),
                            item({make({0x0008, 0x0050}, "SH", "B2")}, ending, syntax)},
                           syntax);
    return make({0x0008, 0x0005}, "CS", "ISO_IR 100") + make({0x0008, 0x0016}, "UI", "1.2.840.10008.5.1.4.1.1.7") +
           make({0x0008, 0x0020}, "DA", "20040512") + make({0x0008, 0x0030}, "TM", "101530.5") +
           make({0x0009, 0x0010}, "LO", "ROBUST") + make({0x0009, 0x1001}, "LO", "own ") +
           make({0x0010, 0x0010}, "PN", "M\xFCller^Eva") + make({0x0018, 0x0050}, "DS", "1.5 ") +
           make({0x0028, 0x0010}, "US", number_16(2, syntax)) + make({0x0028, 0x0011}, "US", number_16(2, syntax)) +
           make({0x0028, 0x0100}, "US", number_16(8, syntax)) + steps + make({0x7FE0, 0x0010}, "OW", "abcd");
}

static Bytes encapsulated()
{
    Bytes fragments = item({Bytes(4, '\0')}) + item({Bytes("\xFF\xD8\xFF\xD9", 4)}) + delimiter(ELEMENT_SEQUENCE_END);
    return element({0x0008, 0x0060}, "CS", "OT") + element({0x0028, 0x0008}, "IS", "1 ") +
           element({0x7FE0, 0x0010}, "OB", fragments, SYNTAX_EXPLICIT, 0xFFFFFFFF);
}

// VRs that the element reader takes for short ones, and an UN that holds implicit VR.
static Bytes later_vrs()
{
    return element({0x0008, 0x0119}, "UC", "long") + element({0x0008, 0x0120}, "UR", "http://x") +
           element({0x0009, 0x0010}, "LO", "ROBUST") +
           element({0x0009, 0x1002}, "UN",
                   item({element({0x0008, 0x0100}, "SH", "c1", SYNTAX_IMPLICIT)}, BY_LENGTH) +
                       delimiter(ELEMENT_SEQUENCE_END),
                   SYNTAX_EXPLICIT, 0xFFFFFFFF) +
           element({0x0066, 0x0016}, "OF", Bytes(8, '\x3F')) +
           element({0x0072, 0x0082}, "SV", Bytes(8, '\1'));
}

Bytes nested(int levels, Ending ending)
{
    if (ending == BY_DELIMITER) {
        Bytes open = element({0x0040, 0xA730}, "SQ", "", SYNTAX_EXPLICIT, 0xFFFFFFFF) +
                     item({}, BY_DELIMITER).substr(0, 8);
        Bytes close = delimiter(ELEMENT_ITEM_END) + delimiter(ELEMENT_SEQUENCE_END), out, end;
        out.reserve(static_cast<size_t>(levels) * (open.size() + close.size()));
        for (int i = 0; i < levels; i++)
            out += open;
        for (int i = 0; i < levels; i++)
            out += close;
        return out;
    }
    // From the inside out the lengths are known before the bytes are put in front.
    size_t step = 12 + 8, size = 0;
    Bytes out(step * static_cast<size_t>(levels), '\0');
    for (int i = levels - 1; i >= 0; i--) {
        Bytes head = element({0x0040, 0xA730}, "SQ", "", SYNTAX_EXPLICIT, static_cast<int64_t>(size) + 8) +
                     Bytes("\xFE\xFF\x00\xE0", 4) + number_32(static_cast<uint32_t>(size));
        out.replace(static_cast<size_t>(i) * step, step, head);
        size += step;
    }
    return out;
}

static Bytes deflated(const Bytes &bytes)
{
    z_stream stream = {};
    deflateInit2(&stream, 9, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
    Bytes out(bytes.size() + 100, '\0');
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef *>(&out[0]);
    stream.avail_out = static_cast<uInt>(out.size());
    deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

std::vector<Fixture> small_data_sets()
{
    Bytes explicit_head = part10_head("1.2.840.10008.1.2.1"), implicit_head = part10_head("1.2.840.10008.1.2"),
          big_head = part10_head("1.2.840.10008.1.2.2"), jpeg_head = part10_head("1.2.840.10008.1.2.4.50"),
          deflated_head = part10_head("1.2.840.10008.1.2.1.99");
    const int plain = SYNTAX_EXPLICIT, big = SYNTAX_EXPLICIT | SYNTAX_BIG_ENDIAN;
    return {
        {"explicit VR", explicit_head + body(plain, BY_DELIMITER), plain, explicit_head.size()},
        {"implicit VR", implicit_head + body(SYNTAX_IMPLICIT, BY_LENGTH), SYNTAX_IMPLICIT, implicit_head.size()},
        {"big-endian", big_head + body(big, BY_LENGTH), big, big_head.size()},
        {"no preamble", body(SYNTAX_IMPLICIT, BY_DELIMITER), SYNTAX_IMPLICIT, 0},
        {"encapsulated", jpeg_head + encapsulated(), plain, jpeg_head.size()},
        {"VRs of today", explicit_head + later_vrs(), plain, explicit_head.size()},
        {"ten levels", nested(10, BY_LENGTH), plain, 0},
        {"ten delimited levels", nested(10, BY_DELIMITER), plain, 0},
        {"deflated", deflated_head + deflated(body(plain, BY_LENGTH)), plain, deflated_head.size()},
    };
}

// ---- files ----------------------------------------------------------------------------

Fast_Folder::Fast_Folder()
{
    path = std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + "/velmora_test_XXXXXX";
    if (mkdtemp(&path[0]) == nullptr)
        abort();
}

Fast_Folder::~Fast_Folder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::string Fast_Folder::write(const std::string &name, const std::string &bytes) const
{
    std::string whole = path + "/" + name;
    FILE *file = fopen(whole.c_str(), "wb");
    fwrite(bytes.data(), 1, bytes.size(), file);
    fclose(file);
    return whole;
}

// ---- the program ----------------------------------------------------------------------

static void take_text(void *user, bool to_err, const char *bytes, size_t count)
{
    Outcome *run = static_cast<Outcome *>(user);
    (to_err ? run->err : run->out).append(bytes, count);
}

static void take_folded(void *user, const Folded_Lines &lines)
{
    Outcome *run = static_cast<Outcome *>(user);
    std::string *to = lines.to_err ? &run->err : &run->out;
    for (const Folded_Kind &kind : lines.kinds)
        *to += kind.lines;
    for (const Folded_Lines::Line &line : lines.lines)
        *to += line.text;
}

Outcome run_here(const std::vector<std::string> &arguments)
{
    std::vector<char *> argv = {const_cast<char *>("velmora")};
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    Outcome run = {0, "", ""};
    const Diversion taken = {take_text, take_folded, &run};
    int threshold = Error_Get_Threshold(), warning = Flag_Error_Warning, report = Flag_Error_Report;
    optind = 0;   // getopt begins anew
    start_messages();
    divert(&taken);
    run.status = find_command(argv[1])->run(static_cast<int>(argv.size()) - 2, argv.data() + 1);
    finish_folding();
    divert(nullptr);
    Error_Set_Sink(nullptr, nullptr);
    Error_Set_Threshold(threshold);
    Flag_Error_Warning = warning;
    Flag_Error_Report = report;
    return run;
}

bool is_harmless(const std::string &text)
{
    std::string shown = visible(text);
    size_t at = 0;
    for (char c : text) {   // visible changes nothing but line feeds and tabs
        if (c == '\n' || c == '\t') {
            if (shown.compare(at, 2, c == '\n' ? "\\n" : "\\t") != 0)
                return false;
            at += 2;
        } else if (shown[at++] != c) {
            return false;
        }
    }
    return at == shown.size();
}
