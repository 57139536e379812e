// The start of a value as a readable text, by its VR. How much is looked at is bounded, whatever the size of the value.
#include "dump/dump_internal.h"

#include "tree/tree_internal.h"

enum {
    TEXT_LENGTH = 250,     // bytes of a value that are shown at most
    UNKNOWN_LENGTH = 32,   // the same for the letters and digits of UN
    UNKNOWN_BYTES = 4,     // a UN of other bytes is shown up to this size
    ITEM_ROOM = 336,       // a separator and the largest double: 309 digits, sign, point and three decimals
};

/* ---- one number -------------------------------------------------------------------- */

// As "%.3f" in the C locale.
static char *put_decimal(char *at, double number)
{
    const int longest = ITEM_ROOM - 8;
    return std::to_chars(at, at + longest, number, std::chars_format::fixed, 3).ptr;
}

static char *put_byte(char *at, char, const char *bytes)
{
    return put_hex(at, static_cast<unsigned char>(*bytes), 2);
}

static char *put_word(char *at, char order, const char *bytes)
{
    return put_hex(at, load_16(order, bytes), 4);
}

static char *put_tag(char *at, char order, const char *bytes)
{
    *at++ = '(';
    at = put_hex(at, load_16(order, bytes), 4);
    *at++ = ',';
    at = put_hex(at, load_16(order, bytes + 2), 4);
    *at++ = ')';
    return at;
}

static char *put_unsigned_short(char *at, char order, const char *bytes)
{
    return put_int(at, load_16(order, bytes));
}

static char *put_short(char *at, char order, const char *bytes)
{
    return put_int(at, Get_Short(order, bytes));
}

static char *put_long(char *at, char order, const char *bytes)
{
    return put_int(at, Get_Int(order, bytes));
}

static char *put_float(char *at, char order, const char *bytes)
{
    return put_decimal(at, static_cast<double>(Get_Float(order, bytes)));
}

static char *put_double(char *at, char order, const char *bytes)
{
    return put_decimal(at, Get_Double(order, bytes));
}

/* ---- one value --------------------------------------------------------------------- */

struct Value_Rule;
typedef const char *Show(const DICOM_List *tag, int length, const Value_Rule *rule, char *buffer);

struct Value_Rule {
    unsigned short vr;
    Show *show;
    // Numbers only: how many bytes are looked at, how many a number has, what writes it, what stands between two.
    int limit, unit;
    char *(*put)(char *at, char order, const char *bytes);
    const char *separator;
};

// Numbers that would not fit, or whose last bytes are missing, are left out and count as not shown.
static const char *show_numbers(const DICOM_List *tag, int length, const Value_Rule *rule, char *buffer)
{
    const char more[] = " ...";
    char *at = buffer, *end = buffer + STOOL_TEXT_ROOM - sizeof more;
    int limit = length < rule->limit ? length : rule->limit, used = 0;
    while (limit - used >= rule->unit) {
        char item[ITEM_ROOM];
        char *item_end = rule->put(used > 0 ? put_text(item, rule->separator) : item, static_cast<char>(tag->syntax),
                                   tag->data + used);
        if (item_end - item > end - at)
            break;
        memcpy(at, item, static_cast<size_t>(item_end - item));
        at += item_end - item;
        used += rule->unit;
    }
    if (used < length)
        at = put_text(at, more);
    *at = '\0';
    return buffer;
}

static void copy_text(const DICOM_List *tag, int length, bool is_cut, char *buffer)
{
    memcpy(buffer, tag->data, static_cast<size_t>(length));
    buffer[length] = '\0';
    if (is_cut)
        strcpy(buffer + strlen(buffer), "...");   // behind what is seen: a zero byte ends the text
}

static const char *show_text(const DICOM_List *tag, int length, const Value_Rule *, char *buffer)
{
    copy_text(tag, length, tag->size > TEXT_LENGTH, buffer);
    return buffer;
}

static const char *show_uid(const DICOM_List *tag, int length, const Value_Rule *, char *buffer)
{
    bool is_cut = tag->size >= TEXT_LENGTH;
    copy_text(tag, length, is_cut, buffer);
    const char *name = is_cut ? nullptr : DICOM_Attribute_Stool_UID(buffer);
    if (name != nullptr)
        strcpy(put_text(buffer, "= "), name);
    return buffer;
}

static const char *show_sequence(const DICOM_List *, int, const Value_Rule *, char *)
{
    return "---- Sequence in ----------------";
}

static bool is_alphanumeric(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

static const char *show_unknown(const DICOM_List *tag, int length, const Value_Rule *rule, char *buffer)
{
    char *at = put_text(buffer, "(VR=UN Unknown) ");
    int readable = 0;
    while (readable < length && is_alphanumeric(tag->data[readable]))
        readable++;

    if (readable == length) {
        int shown = length < UNKNOWN_LENGTH ? length : UNKNOWN_LENGTH;
        memcpy(at, tag->data, static_cast<size_t>(shown));
        strcpy(at + shown, shown < length ? " ..." : "");
    } else if (length <= UNKNOWN_BYTES) {
        show_numbers(tag, length, rule, at);
    } else {
        *at = '\0';
    }
    return buffer;
}

// The rows that data sets ask for most stand first. The last row is for every other VR.
static const Value_Rule value_rules[] = {
  //  VR    form    limit  unit  number  separator
    {VR_UI,   show_uid,      0,   0, nullptr,            nullptr},
    {VR_CS,   show_text,     0,   0, nullptr,            nullptr},
    {VR_LO,   show_text,     0,   0, nullptr,            nullptr},
    {VR_SH,   show_text,     0,   0, nullptr,            nullptr},
    {VR_DS,   show_text,     0,   0, nullptr,            nullptr},
    {VR_IS,   show_text,     0,   0, nullptr,            nullptr},
    {VR_US,   show_numbers,  32,  2, put_unsigned_short, " / "  },
    {VR_UL,   show_numbers,  64,  4, put_long,           " / "  },
    {VR_DA,   show_text,     0,   0, nullptr,            nullptr},
    {VR_TM,   show_text,     0,   0, nullptr,            nullptr},
    {VR_DT,   show_text,     0,   0, nullptr,            nullptr},
    {VR_PN,   show_text,     0,   0, nullptr,            nullptr},
    {VR_AE,   show_text,     0,   0, nullptr,            nullptr},
    {VR_AS,   show_text,     0,   0, nullptr,            nullptr},
    {VR_LT,   show_text,     0,   0, nullptr,            nullptr},
    {VR_ST,   show_text,     0,   0, nullptr,            nullptr},
    {VR_UT,   show_text,     0,   0, nullptr,            nullptr},
    {VR_FL,   show_numbers,  64,  4, put_float,          " / "  },
    {VR_FD,   show_numbers,  128, 8, put_double,         " / "  },
    {VR_SL,   show_numbers,  64,  4, put_long,           " / "  },
    {VR_SS,   show_numbers,  32,  2, put_short,          " / "  },
    {VR_AT,   show_numbers,  64,  4, put_tag,            " / "  },
    {VR_OB,   show_numbers,  32,  1, put_byte,           " "    },
    {VR_OW,   show_numbers,  64,  2, put_word,           " "    },
    {VR_UN,   show_unknown,  4,   1, put_byte,           " "    },
    {VR_SQ,   show_sequence, 0,   0, nullptr,            nullptr},
    {VR_NONE, show_numbers,  16,  1, put_byte,           " "    },
};

static const Value_Rule *rule_of(unsigned short vr)
{
    const int last = static_cast<int>(sizeof value_rules / sizeof value_rules[0]) - 1;
    int i = 0;
    while (i < last && value_rules[i].vr != vr)
        i++;
    return &value_rules[i];
}

/* ---- the operations ---------------------------------------------------------------- */

const char *DICOM_Attribute_Stool_UID(const char *uid)
{
    size_t length = strlen(uid);
    for (const UID_Name &row : uid_names)
        if (row.length == length && memcmp(row.uid, uid, length) == 0)
            return row.name;
    return nullptr;
}

const char *DICOM_Attribute_Stool_Data(HWND, DICOM_List *tag, char *buffer)
{
    if (tag == nullptr)
        return nullptr;
    unsigned short vr = working_vr(tag);
    if (tag->data == nullptr) {
        if (tag->size <= 0)
            return vr == VR_SQ ? "(sequence)" : nullptr;
        strcpy(put_int(put_text(buffer, "(data from file at offset="), tag->data_pos), ")");
        return buffer;
    }
    int length = tag->size < TEXT_LENGTH ? tag->size : TEXT_LENGTH;
    if (length < 0)
        length = 0;
    const Value_Rule *rule = rule_of(vr);
    return rule->show(tag, length, rule, buffer);
}
