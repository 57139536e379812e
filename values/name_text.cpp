// Person names as texts: the form of DICOM (PS3.5, 6.2.1) and three forms for readers.
#include "values/values_internal.h"

enum { NAME_ROOM = 324 };   // bytes of one readable name: five fields of 64 characters and what stands between

// A piece of a readable form: printed when the field is there, or always when it names no field.
struct Name_Piece {
    const char *before;
    char *Velmora_Name::*field;
    const char *after;
};

static const Name_Piece family_first[] = {
    {"",   &Velmora_Name::prefix, " "},
    {"",   &Velmora_Name::family, ""},
    {", ", &Velmora_Name::given,  ""},
    {" ",  &Velmora_Name::middle, ""},
    {" ",  &Velmora_Name::suffix, ""},
};

static const Name_Piece with_comma[] = {
    {"",  &Velmora_Name::prefix, " "},
    {"",  &Velmora_Name::family, ""},
    {",", nullptr,               ""},
    {" ", &Velmora_Name::given,  ""},
    {" ", &Velmora_Name::middle, ""},
    {" ", &Velmora_Name::suffix, ""},
};

static const Name_Piece natural_order[] = {
    {"",  &Velmora_Name::prefix, " "},
    {"",  &Velmora_Name::given,  " "},
    {"",  &Velmora_Name::middle, " "},
    {"",  &Velmora_Name::family, ""},
    {" ", &Velmora_Name::suffix, ""},
};

// Results stay valid for 127 further calls of their operation, so each has a ring of its own.
struct Name_Ring {
    int counter;
    char slots[RING_SLOTS][NAME_ROOM];
};

static size_t append_cut(char *slot, size_t length, const char *text)
{
    copy_cut(slot + length, NAME_ROOM - length, text);
    return length + strlen(slot + length);
}

template <size_t Count>
static char *print_name(const Velmora_Name *name, Name_Ring *ring, const Name_Piece (&pieces)[Count])
{
    char *slot = ring->slots[next_in_ring(&ring->counter)];
    slot[0] = '\0';
    if (name == nullptr || name->count == 0)
        return nullptr;
    size_t length = 0;
    for (const Name_Piece &piece : pieces) {
        const char *field = piece.field != nullptr ? name->*piece.field : "";
        if (field == nullptr)
            continue;
        length = append_cut(slot, length, piece.before);
        length = append_cut(slot, length, field);
        length = append_cut(slot, length, piece.after);
    }
    return slot;
}

char *Name_2_DICOM(Velmora_Name *name, char *text)
{
    text[0] = '\0';
    if (name == nullptr || name->count == 0)
        return nullptr;
    const char *const fields[] = {name->family, name->given, name->middle, name->prefix, name->suffix};
    int last = 4;
    while (last > 0 && fields[last] == nullptr)
        last--;
    char *out = text;
    for (int i = 0; i <= last; i++) {
        if (i > 0)
            *out++ = '^';
        size_t length = fields[i] != nullptr ? strlen(fields[i]) : 0;
        if (length > 0)
            memcpy(out, fields[i], length);
        out += length;
    }
    *out = '\0';
    return text;
}

char *Name_2_Str(Velmora_Name *name)
{
    static Name_Ring ring;
    return print_name(name, &ring, family_first);
}

char *Name_2_Str_Comma(Velmora_Name *name)
{
    static Name_Ring ring;
    return print_name(name, &ring, with_comma);
}

char *Name_2_Str_Old(Velmora_Name *name)
{
    static Name_Ring ring;
    return print_name(name, &ring, natural_order);
}
