#include "tests/cleanup_values.h"

#include <malloc.h>

Value::Value(const std::string &vr, const Bytes &bytes, unsigned short group)
{
    tag.group = group;
    tag.element = 0x1234;
    if (!vr.empty())
        tag.vr_explicit = pack_letters(vr[0], vr[1]);
    tag.syntax = SYNTAX_EXPLICIT;
    tag.flag = ORIGIN_DICOM;
    tag.size = static_cast<int>(bytes.size());
    tag.data = static_cast<char *>(malloc(bytes.size()));
    memcpy(tag.data, bytes.data(), bytes.size());
}

Value::~Value()
{
    free(tag.data);
}

Bytes Value::bytes() const
{
    return tag.data == nullptr ? Bytes() : Bytes(tag.data, static_cast<size_t>(tag.size));
}

bool Value::fits_its_block() const
{
    if (tag.size == 0)
        return tag.data == nullptr;
#if defined(__SANITIZE_ADDRESS__)   // only then the usable size is the size that was asked for
    return malloc_usable_size(tag.data) == static_cast<size_t>(tag.size);
#else
    return malloc_usable_size(tag.data) >= static_cast<size_t>(tag.size);
#endif
}

std::string Value::name() const
{
    return std::string{first_letter(tag.vr_explicit), second_letter(tag.vr_explicit)} + " [" + readable(bytes()) + "]";
}

std::string readable(const Bytes &bytes)
{
    std::string out;
    char text[8];
    for (char c : bytes) {
        unsigned char byte = static_cast<unsigned char>(c);
        snprintf(text, sizeof text, byte < 0x20 || byte >= 0x7F ? "\\x%02X" : "%c", byte);
        out += text;
    }
    return out;
}

std::string said_of(const Reports &said, const DICOM_List &tag)
{
    char place[40];
    snprintf(place, sizeof place, "(\x01%04x\x02,\x01%04x\x02) VR=\x01%c%c\x02 ", tag.group, tag.element,
             first_letter(tag.vr_explicit), second_letter(tag.vr_explicit));
    const std::string warning = std::string("    \xF1\x05WARNING:\x02 ") + place;
    const std::string remark = std::string("\x02    ") + place;

    std::string out;
    for (const Report &report : said.all) {
        if (report.level == Reports::WARNING && report.text.starts_with(warning))
            out += "W " + report.text.substr(warning.size()) + "\n";
        else if (report.level == Reports::REMARK && report.text.starts_with(remark))
            out += "R " + report.text.substr(remark.size()) + "\n";
        else
            out += std::to_string(report.level) + " " + report.text + "\n";
    }
    return out;
}

std::string too_long(int length, int max, const std::string &kept, const std::string &tail)
{
    return "W String too long! (\x01" + std::to_string(length) + "\x02/vs/\x01" + std::to_string(max) +
           " max\x02) Truncated to \"\x01" + kept + "\x02\"(\x04" + tail + "\x02)\n";
}

std::string not_from_set(int count, const std::string &text, const std::string &set)
{
    return "R " + std::to_string(count) + " char in \"\x01" + text + "\x02\" not from set \"\x01" + set + "\x02\"\n";
}

std::string bad_length(const std::string &expected, int length)
{
    return "W Invalid data! Expecting " + expected + " but got " + std::to_string(length) + " bytes\n";
}

std::string out_of_range(const std::string &digits)
{
    return "W Value out of range (\x01" + digits + "\x02 \\vs\\ -2**31 to 2**31 - 1)\n";
}

std::string pad_instead(const std::string &text, const std::string &pads)
{
    return "R invalid padding char used in \"\x01" + text + "\x02\" (" + pads + ")\n";
}
