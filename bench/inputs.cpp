#include "bench/inputs.h"

#include <stdint.h>

#include "tree/Velmora_DICOM.h"

static void put_16(Stream &out, unsigned value)
{
    out += static_cast<char>(value & 0xFF);
    out += static_cast<char>(value >> 8 & 0xFF);
}

static void put_32(Stream &out, uint32_t value)
{
    put_16(out, value & 0xFFFF);
    put_16(out, value >> 16);
}

static void put_element(Stream &out, unsigned group, unsigned element, const char *vr, const Stream &value)
{
    put_16(out, group);
    put_16(out, element);
    out += vr;
    put_16(out, static_cast<unsigned>(value.size()));
    out += value;
}

// A sequence of undefined length around finished items.
static void put_sequence(Stream &out, unsigned group, unsigned element, const Stream &items)
{
    put_16(out, group);
    put_16(out, element);
    out += "SQ";
    put_16(out, 0);
    put_32(out, 0xFFFFFFFF);
    out += items;
    put_16(out, 0xFFFE);
    put_16(out, 0xE0DD);
    put_32(out, 0);
}

static void put_item(Stream &out, const Stream &body, bool by_length)
{
    put_16(out, 0xFFFE);
    put_16(out, 0xE000);
    put_32(out, by_length ? static_cast<uint32_t>(body.size()) : 0xFFFFFFFF);
    out += body;
    if (!by_length) {
        put_16(out, 0xFFFE);
        put_16(out, 0xE00D);
        put_32(out, 0);
    }
}

// Five elements as an item of a code or functional group sequence holds them.
static Stream five_elements()
{
    Stream out;
    put_element(out, 0x0008, 0x0100, "SH", "T-D4000 ");
    put_element(out, 0x0008, 0x0102, "SH", "SRT ");
    put_element(out, 0x0008, 0x0104, "LO", "Abdomen ");
    put_element(out, 0x0018, 0x0050, "DS", "2.5 ");
    put_element(out, 0x0020, 0x0032, "DS", "-80.5\\-80.5\\12.5");
    return out;
}

static Stream ten_elements()
{
    Stream out = five_elements();
    put_element(out, 0x0020, 0x0037, "DS", "1\\0\\0\\0\\1\\0 ");
    put_element(out, 0x0020, 0x9057, "UL", Stream("\1\0\0\0", 4));
    put_element(out, 0x0028, 0x0030, "DS", "0.5\\0.5 ");
    put_element(out, 0x0028, 0x1050, "DS", "40");
    put_element(out, 0x0028, 0x1051, "DS", "400 ");
    return out;
}

Stream flat_set(int elements)
{
    Stream out;
    for (int i = 0; i < elements; i++)
        put_element(out, 0x0019u + 2u * static_cast<unsigned>(i / 0xF000), 0x1000u + static_cast<unsigned>(i % 0xF000),
                    "LO", "A value ");
    return out;
}

Stream items_of_ten(int items, bool by_length)
{
    Stream body = ten_elements(), all, out;
    for (int i = 0; i < items; i++)
        put_item(all, body, by_length);
    put_sequence(out, 0x5200, 0x9230, all);
    return out;
}

Stream items_with_sequences(int items, int elements)
{
    Stream code, body = elements == 5 ? five_elements() : ten_elements(), all, out;
    Stream inner;
    put_element(inner, 0x0008, 0x0104, "LO", "Abdomen ");
    put_item(code, inner, true);
    for (unsigned i = 0; i < 6; i++)
        put_sequence(body, 0x0040, 0x9096 + i * 0x10, code);
    for (int i = 0; i < items; i++)
        put_item(all, body, false);
    put_sequence(out, 0x5200, 0x9230, all);
    return out;
}

Stream ct_like_set()
{
    Stream out, reference, items;
    for (unsigned i = 0; i < 20; i++)
        put_element(out, 0x0008, 0x0008 + i, "CS", "ORIGINAL");
    put_element(reference, 0x0008, 0x1150, "UI", Stream("1.2.840.10008.5.1.4.1.1.2\0", 26));
    put_element(reference, 0x0008, 0x1155, "UI", Stream("1.2.999.0.1.7204516.2.813.9.1\0", 30));
    for (int i = 0; i < 3; i++)
        put_item(items, reference, true);
    put_sequence(out, 0x0008, 0x1140, items);
    for (unsigned i = 0; i < 10; i++)
        put_element(out, 0x0010, 0x0010 + 0x10 * i, "LO", "Phantom^Water ");
    for (unsigned i = 0; i < 40; i++)
        put_element(out, 0x0018, 0x0010 + 0x10 * i, "DS", "120.25");
    for (unsigned i = 0; i < 25; i++)
        put_element(out, 0x0020, 0x000D + 0x10 * i, "UI", "1.2.999.0.1.7204516.2.813.9.1.23");
    for (unsigned i = 0; i < 30; i++)
        put_element(out, 0x0028, 0x0002 + 0x10 * i, "US", Stream("\x10\0", 2));
    put_element(out, 0x0029, 0x0010, "LO", "VELMORA SAMPLE");
    for (unsigned i = 0; i < 13; i++)
        put_element(out, 0x0029, 0x1001 + i, "LO", "Private ");
    return out;
}

int count_elements(const Stream &stream)
{
    int at = 0, count = 0, size = static_cast<int>(stream.size());
    unsigned short group, element, vr;
    int length = 0;
    while (at < size && NEMA_Get_Data_Element(nullptr, 0, reinterpret_cast<intptr_t>(&at), stream.data(), 8, &group,
                                              &element, &vr, &length, 0x7FFFFFFF)) {
        count++;
        bool opens = group == 0xFFFE || length == -1 || vr == 0x5351;
        if (!opens)
            at += length;
    }
    return count;
}

static void put_long_element(Stream &out, unsigned group, unsigned element, const char *vr, uint32_t size)
{
    put_16(out, group);
    put_16(out, element);
    out += vr;
    put_16(out, 0);
    put_32(out, size);
}

Stream with_head(const Stream &stream)
{
    Stream group, out(128, '\0');
    put_long_element(group, 0x0002, 0x0001, "OB", 2);
    group += Stream("\0\1", 2);
    put_element(group, 0x0002, 0x0002, "UI", Stream("1.2.840.10008.5.1.4.1.1.2\0", 26));
    put_element(group, 0x0002, 0x0003, "UI", Stream("1.2.999.0.1.7204516.2.813.9.1\0", 30));
    put_element(group, 0x0002, 0x0010, "UI", Stream("1.2.840.10008.1.2.1\0", 20));
    put_element(group, 0x0002, 0x0012, "UI", Stream("1.2.999.0.1.7204516.2.813\0", 26));
    Stream length;
    put_32(length, static_cast<uint32_t>(group.size()));
    out += "DICM";
    put_element(out, 0x0002, 0x0000, "UL", length);
    return out + group + stream;
}

Stream pixel_header(unsigned int size)
{
    Stream out;
    put_long_element(out, 0x7FE0, 0x0010, "OW", size);
    return out;
}

Stream filler(int size)
{
    Stream out;
    put_element(out, 0x4008, 0x4000, "ST", Stream(static_cast<size_t>(size - 8), 'x'));
    return out;
}
