#include "fuzz/data_set_input.h"

#include <string.h>
#include <algorithm>

#include "host/save_internal.h"

using namespace velmora_host;

static const int64_t INFLATE_LIMIT = 1 << 20;   // so that no run becomes long by what zlib makes of it
static const int MOST_READINGS = 4;             // of sequences below the ninth level, one inside the other

Loaded_Input::Loaded_Input(const std::string &stream, unsigned char mode, bool want_listing) : block(stream)
{
    Load_Options options;
    options.want_listing = want_listing;
    options.inflate_limit = INFLATE_LIMIT;
    result = load_from_memory(block.data, block.size, mode, options, &set, &error);
    HOLDS((result == LOADED) == error.empty());
}

Loaded_Input::~Loaded_Input()
{
    release_data_set(&set);
}

// ---- comparing ------------------------------------------------------------------------

struct Sides {
    const Data_Set *a, *b;
    const Save_Options *options;
    int reading;         // of sequences below the ninth level around these
    bool in_fragments;   // the chains are fragments of encapsulated data
    bool in_unknown;     // they are items of an UN, which are little endian in any stream
    bool *has_lost_vr;   // gets whether what holds items became a value, or the other way, since no VR tells
};

static std::string compare_nodes(const Sides &sides, const DICOM_List *a, const DICOM_List *b);
static std::string compare_chains(const Sides &sides, const DICOM_List *a, const DICOM_List *b);

static std::string told(const DICOM_List *node, const char *what)
{
    char text[100];
    snprintf(text, sizeof text, "(%04x,%04x) %s", node->group, node->element, what);
    return text;
}

static std::string little_endian_value(const Data_Set &set, const DICOM_List *node)
{
    int size = 0;
    const char *bytes = value_of(set, node, &size);
    std::string value(bytes != nullptr ? bytes : "", bytes != nullptr ? static_cast<size_t>(size) : 0);
    if (is_big_endian(node->syntax) && turning_unit(node) > 1)
        reverse_units(value.data(), static_cast<int>(value.size()), turning_unit(node), value.data());
    return value;
}

static bool is_same_value(const Sides &sides, const DICOM_List *a, const DICOM_List *b)
{
    std::string of_a = little_endian_value(*sides.a, a), of_b = little_endian_value(*sides.b, b);
    if (sides.options->even_lengths && of_a.size() % 2 != 0 && of_b.size() == of_a.size() + 1) {
        // As they are written: what is left behind the last whole number of a value is turned together with the padding.
        int unit = is_big_endian(sides.b->mode) && !sides.in_unknown ? turning_unit(b) : 1;
        for (std::string *value : {&of_a, &of_b})
            reverse_units(value->data(), static_cast<int>(value->size()), unit, value->data());
        of_b.pop_back();
    }
    return of_a == of_b;
}

static bool is_same_vr(const Sides &sides, const DICOM_List *a, const DICOM_List *b)
{
    if (a->vr_explicit == VR_NONE || b->vr_explicit == VR_NONE || a->vr_explicit == b->vr_explicit)
        return true;
    bool has_items = a->item != nullptr ? !is_encapsulated(a) : find_opaque(*sides.a, a) != nullptr;
    if (has_items && b->vr_explicit == VR_SQ)
        return true;   // what holds items is a sequence, whatever its VR said
    if (a->vr_explicit == VR_UH && b->vr_explicit == VR_US)
        return true;
    return b->vr_explicit == VR_UN && (vr_form(a->vr_explicit).is_later ? sides.options->later_vrs_as_un
                                                                        : a->size > 65535 || a->size < 0 ||
                                                                              a->vr_explicit == VR_SQ);
}

// One that has no items on the other side had none that could be read.
static std::string compare_opaque(const Sides &sides, const DICOM_List *node, const Opaque &in_a, const Opaque *in_b)
{
    if (sides.reading == MOST_READINGS)
        return "";
    Data_Set a, b;
    std::string error, difference;
    Load_Result loaded_a = open_opaque(*sides.a, in_a, &a, &error);
    Load_Result loaded_b = in_b != nullptr ? open_opaque(*sides.b, *in_b, &b, &error) : NOT_A_DATA_SET;
    prepare_tree(&a, *sides.options, MODE_EXPLICIT_LITTLE);
    prepare_tree(&b, *sides.options, MODE_EXPLICIT_LITTLE);
    Sides inside = {&a, &b, sides.options, sides.reading + 1, false, sides.in_unknown, sides.has_lost_vr};
    if (loaded_a == LOADED && loaded_b == LOADED)
        difference = compare_chains(inside, a.tree, b.tree);
    else if (loaded_a == LOADED && (in_b != nullptr || a.tree->nb_item > 0))
        difference = told(node, "opens on one side only");
    release_data_set(&a);
    release_data_set(&b);
    return difference;
}

// A sequence that stood too deep among faults is one level higher where it was written without them.
static std::string compare_risen(const Sides &sides, const DICOM_List *a, const DICOM_List *b)
{
    Data_Set opened;
    std::string error, difference;
    const Opaque *in_a = find_opaque(*sides.a, a);
    bool is_open = in_a != nullptr ? open_opaque(*sides.a, *in_a, &opened, &error) == LOADED
                                   : open_opaque(*sides.b, *find_opaque(*sides.b, b), &opened, &error) == LOADED;
    prepare_tree(&opened, *sides.options, MODE_EXPLICIT_LITTLE);
    Sides inside = sides;
    if (is_open) {
        (in_a != nullptr ? inside.a : inside.b) = &opened;
        difference = compare_nodes(inside, in_a != nullptr ? opened.tree : a, in_a != nullptr ? b : opened.tree);
    } else {
        difference = told(a, "opens on one side only");
    }
    release_data_set(&opened);
    return difference;
}

static int count_items(const DICOM_List *node)
{
    int count = 0;
    while (count < node->nb_item && node->item[count] != nullptr)
        count++;
    return count;
}

static std::string compare_nodes(const Sides &sides, const DICOM_List *a, const DICOM_List *b)
{
    if (a->group != b->group || a->element != b->element)
        return told(a, "against ") + told(b, "");
    if (!is_same_vr(sides, a, b))
        return told(a, "has another VR");
    // What could not be read in the items of an UN may be read where another byte order, or padding, stands around it.
    if (true_vr(a) == VR_UN && is_encapsulated(a)) {
        *sides.has_lost_vr = true;
        return "";
    }
    const Opaque *in_a = a->item == nullptr ? find_opaque(*sides.a, a) : nullptr;
    const Opaque *in_b = b->item == nullptr ? find_opaque(*sides.b, b) : nullptr;
    // What is damaged below the ninth level may be read in another way once it stands elsewhere.
    if ((in_a != nullptr || in_b != nullptr) && sides.a->damages > 0) {
        *sides.has_lost_vr = true;
        return "";
    }
    if ((in_a != nullptr && b->item != nullptr) || (in_b != nullptr && a->item != nullptr))
        return compare_risen(sides, a, b);
    // Without VRs, bytes of some other VR than the dictionary's may look like items, or the other way.
    int count = count_items(a);
    bool is_no_item = working_vr(a) == VR_SQ && count == 0 && a->size > 0;
    bool lost_vr = b->vr_explicit == VR_NONE && (working_vr(a) != working_vr(b) || is_no_item);
    if (lost_vr && is_encapsulated(a) != is_encapsulated(b)) {
        *sides.has_lost_vr = true;   // items of bytes, where the dictionary's VR has such
        return "";
    }
    if (count != count_items(b))
        return lost_vr ? (*sides.has_lost_vr = true, "") : told(a, "has another number of items");
    if (in_a != nullptr && (in_b != nullptr || b->size <= 0))
        return compare_opaque(sides, a, *in_a, in_b);
    bool is_empty_item = is_item_mark(a) && !sides.in_fragments;   // it has the size of what could not stand in it
    if (lost_vr && (is_no_item || working_vr(a) == VR_SQ || working_vr(b) == VR_SQ))
        *sides.has_lost_vr = true;
    else if (!is_empty_item && !is_same_value(sides, a, b))
        return told(a, "has another value: ") + std::to_string(a->size) + " and " + std::to_string(b->size) + " bytes";
    Sides inside = sides;
    inside.in_fragments = is_encapsulated(a);
    inside.in_unknown |= true_vr(a) == VR_UN;
    for (int i = 0; i < count; i++) {
        std::string difference = compare_chains(inside, a->item[i], b->item[i]);
        if (!difference.empty())
            return told(a, ("item " + std::to_string(i + 1) + " ").c_str()) + difference;
    }
    return "";
}

// What is_ambiguous tells of in whole_road.cpp, in one chain.
static bool has_ambiguous_tag(const DICOM_List *list)
{
    for (const DICOM_List *node = list; node != nullptr; node = node->next) {
        bool stands_twice =
            node->next != nullptr && node->group == node->next->group && node->element == node->next->element;
        if (stands_twice || node->group == 0xFEFF || node->group == 0x0200 || node->group == GROUP_FILE_META)
            return true;
    }
    return false;
}

static std::string compare_chains(const Sides &sides, const DICOM_List *a, const DICOM_List *b)
{
    if (sides.reading > 0 && has_ambiguous_tag(a)) {
        *sides.has_lost_vr = true;
        return "";
    }
    for (; a != nullptr && b != nullptr; a = a->next, b = b->next) {
        std::string difference = compare_nodes(sides, a, b);
        if (!difference.empty())
            return difference;
    }
    return a == b ? "" : a != nullptr ? told(a, "was lost") : told(b, "was added");
}

std::string first_difference(const Data_Set &a, const Data_Set &b, const Save_Options &options, bool *has_lost_vr)
{
    return compare_chains({&a, &b, &options, 0, false, false, has_lost_vr}, a.tree, b.tree);
}
