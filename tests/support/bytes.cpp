#include "tests/support/bytes.h"

static Bytes digits(uint64_t value, int width, bool big)
{
    Bytes out;
    for (int i = 0; i < width; i++)
        out += static_cast<char>(value >> (8 * (big ? width - 1 - i : i)));
    return out;
}

Bytes number_16(uint16_t value, int syntax)
{
    return digits(value, 2, (syntax & SYNTAX_BIG_ENDIAN) != 0);
}

Bytes number_32(uint32_t value, int syntax)
{
    return digits(value, 4, (syntax & SYNTAX_BIG_ENDIAN) != 0);
}

static Bytes tag_bytes(Tag tag, int syntax) { return number_16(tag.group, syntax) + number_16(tag.element, syntax); }

static bool has_long_form(const std::string &vr)
{
    static const char *const LONG_FORMS[] = {"OB", "OD", "OF", "OL", "OV", "OW", "OX", "SQ", "SV",
                                             "UC", "UN", "UR", "UT", "UV"};
    for (const char *each : LONG_FORMS)
        if (vr == each)
            return true;
    return false;
}

Bytes element(Tag tag, const char *vr, const Bytes &value, int syntax, int64_t length)
{
    uint32_t told = static_cast<uint32_t>(length == -2 ? static_cast<int64_t>(value.size()) : length);
    if ((syntax & SYNTAX_EXPLICIT) == 0)
        return tag_bytes(tag, syntax) + number_32(told, syntax) + value;
    if (has_long_form(vr))
        return tag_bytes(tag, syntax) + vr + number_16(0) + number_32(told, syntax) + value;
    return tag_bytes(tag, syntax) + vr + number_16(static_cast<uint16_t>(told), syntax) + value;
}

static Bytes joined(const std::vector<Bytes> &parts)
{
    Bytes all;
    for (const Bytes &part : parts)
        all += part;
    return all;
}

Bytes delimiter(unsigned short which, int syntax)
{
    return tag_bytes({GROUP_ITEM, which}, syntax) + number_32(0, syntax);
}

Bytes item(const std::vector<Bytes> &elements, Ending ending, int syntax)
{
    Bytes body = joined(elements);
    Bytes head = tag_bytes({GROUP_ITEM, ELEMENT_ITEM}, syntax);
    if (ending == BY_DELIMITER)
        return head + number_32(0xFFFFFFFF, syntax) + body + delimiter(ELEMENT_ITEM_END, syntax);
    return head + number_32(static_cast<uint32_t>(body.size()), syntax) + body;
}

Bytes sequence(Tag tag, Ending ending, const std::vector<Bytes> &items, int syntax)
{
    Bytes body = joined(items);
    if (ending == BY_DELIMITER)
        return element(tag, "SQ", body + delimiter(ELEMENT_SEQUENCE_END, syntax), syntax, 0xFFFFFFFF);
    return element(tag, "SQ", body, syntax);
}

Bytes part10_head(const char *transfer_syntax_uid)
{
    Bytes uid = transfer_syntax_uid;
    if (uid.size() % 2 != 0)
        uid += '\0';
    Bytes rest = element({0x0002, 0x0001}, "OB", Bytes("\0\1", 2)) + element({0x0002, 0x0010}, "UI", uid);
    Bytes length = element({0x0002, 0x0000}, "UL", number_32(static_cast<uint32_t>(rest.size())));
    return Bytes(128, '\0') + "DICM" + length + rest;
}
