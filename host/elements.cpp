// Attributes as pieces of a stream. The library's writers make the bytes of all that they can write as it is wanted; what
// is left to the host was marked before (preparing.cpp).
#include "host/save_internal.h"

#include <stdio.h>

namespace velmora_host
{

static const int MOST_OPAQUE_LEVELS = 16;   // nine sequences each
static const unsigned int LONGEST = 0xFFFFFFFE;

static bool fail(Building *building, const DICOM_List *node, const char *what)
{
    char text[200];
    snprintf(text, sizeof text, "(%04x,%04x) %s", node->group, node->element, what);
    if (building->error.empty())
        building->error = text;
    return false;
}

// ---- values ---------------------------------------------------------------------------

static void append_padding(bool is_padded, char padding, Pieces *to)
{
    if (is_padded)
        append_text(to, &padding, 1);
}

// The bytes of a value. Those of a node below the ninth level do not outlive its tree.
static void append_bytes(const Building *building, const DICOM_List *node, const char *bytes, int size, int unit,
                         Pieces *to)
{
    if (building->inside_opaque > 0 && node->data != nullptr)
        append_copy(to, bytes, size, unit);
    else
        append_range(to, bytes, size, unit);
}

static void append_value(Building *building, const DICOM_List *node, unsigned char mode, Pieces *to)
{
    int size = 0;
    const char *bytes = value_of(*building->set, node, &size);
    unsigned short vr = is_explicit(mode) ? written_vr(building, node) : static_cast<unsigned short>(VR_NONE);
    bool is_padded = building->options->even_lengths && size % 2 != 0;
    append_header(to, mode, node->group, node->element, vr, static_cast<unsigned int>(size) + is_padded);
    // What an UN holds is little endian whatever the stream is (DICOM PS3.5, 6.2.2).
    bool is_big = is_big_endian(mode) && vr != VR_UN;
    bool is_turned = is_big != is_big_endian(node->syntax);
    append_bytes(building, node, bytes, size, is_turned ? turning_unit(node) : 1, to);
    append_padding(is_padded, padding_of(node), to);
}

// Fragments; or what stood in the items of an UN and could not be read. That gets a length: whatever it looks like, it is
// not to be taken for the end of anything (DICOM PS3.5, 6.2.2).
static void append_fragments(Building *building, const DICOM_List *node, unsigned char mode, Pieces *to)
{
    bool is_pixel_data = node->group == 0x7FE0 && node->element == 0x0010;
    bool by_length = is_explicit(mode) && true_vr(node) == VR_UN && !is_pixel_data;
    Length_Place place = append_header(to, mode, node->group, node->element, true_vr(node), NO_LENGTH);
    int64_t begin = to->size;
    for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
        int size = 0;
        const char *bytes = value_of(*building->set, node->item[i], &size);
        bool is_padded = building->options->even_lengths && size % 2 != 0;
        append_header(to, mode, GROUP_ITEM, ELEMENT_ITEM, VR_NONE, static_cast<unsigned int>(size) + is_padded);
        append_bytes(building, node->item[i], bytes, size, 1, to);
        append_padding(is_padded, '\0', to);
    }
    if (by_length)
        set_length(to, place, mode, static_cast<unsigned int>(to->size - begin));
    else
        append_header(to, mode, GROUP_ITEM, ELEMENT_SEQUENCE_END, VR_NONE, 0);
}

// ---- sequences ------------------------------------------------------------------------

// Ends a sequence or an item that began behind a length field.
static bool end_by(Building *building, const DICOM_List *node, bool by_length, const Length_Place &place, int64_t size,
                   unsigned char mode, unsigned short delimiter, Pieces *to)
{
    if (!by_length) {
        append_header(to, mode, GROUP_ITEM, delimiter, VR_NONE, 0);
        return true;
    }
    if (size > LONGEST)
        return fail(building, node, "becomes too long for a length; it can be written without --defined-length");
    set_length(to, place, mode, static_cast<unsigned int>(size));
    return true;
}

static bool append_items(Building *building, const DICOM_List *node, unsigned char mode, Pieces *to)
{
    bool by_length = building->options->defined_lengths;
    std::vector<int64_t> *records = building->records;
    building->records = nullptr;
    for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
        if (records != nullptr)
            records->push_back(to->size);
        Length_Place place = append_header(to, mode, GROUP_ITEM, ELEMENT_ITEM, VR_NONE, NO_LENGTH);
        int64_t start = to->size;
        if ((!is_empty_item(node->item[i]) && !append_chain(building, node->item[i], nullptr, mode, to)) ||
            !end_by(building, node, by_length, place, to->size - start, mode, ELEMENT_ITEM_END, to))
            return false;
    }
    return true;
}

// The items of a sequence below the ninth level, written as a data set of their own; what is deeper than any use, as it
// stands in the source.
static bool append_opaque_items(Building *building, const DICOM_List *node, const Opaque &which, unsigned char mode,
                                Pieces *to)
{
    const Save_Options &options = *building->options;
    if (building->inside_opaque == MOST_OPAQUE_LEVELS) {
        if ((which.mode & 0x0F) != mode || which.is_faulty || !options.keep_private || options.change != nullptr)
            return fail(building, node, "is nested too deep to be converted (more than 150 sequences)");
        append_range(to, building->set->source.bytes + which.data_pos, which.size, 1);
        return true;
    }

    Data_Set inner;
    std::string error;
    bool done = open_opaque(*building->set, which, &inner, &error) == LOADED;
    if (!done)
        fail(building, node, error.c_str());
    if (done && options.change != nullptr && !options.change(&inner, options.user, &error))
        done = fail(building, node, error.c_str());
    if (done) {
        if (prepare_tree(&inner, options, mode).has_lost_values)
            tell_of_lost_values(inner.tree);
        Building inside = {&inner, building->options, building->inside_opaque + 1, nullptr, {}};
        if (inner.tree != nullptr) {
            done = append_items(&inside, inner.tree, mode, to);
            if (!done && building->error.empty())
                building->error = inside.error;
        }
    }
    release_data_set(&inner);
    select_data_set(*building->set);
    return done;
}

static bool append_sequence(Building *building, const DICOM_List *node, unsigned char mode, Pieces *to)
{
    const Opaque *opaque = is_opaque(building, node) ? find_opaque(*building->set, node) : nullptr;
    unsigned short vr = written_vr(building, node);
    // A UN of undefined length holds implicit VR little endian (DICOM PS3.5, 6.2.2), and only so can be told from
    // bytes.
    bool is_unknown = is_explicit(mode) && vr == VR_UN;
    unsigned char inside = is_unknown ? static_cast<unsigned char>(MODE_IMPLICIT_LITTLE) : mode;
    // Nor does a stream without VRs tell items of a known length where the dictionary has another VR.
    bool by_length =
        building->options->defined_lengths && (is_explicit(mode) ? vr : working_vr(node)) == VR_SQ;

    Length_Place place = append_header(to, mode, node->group, node->element, vr, NO_LENGTH);
    int64_t start = to->size;
    bool done = opaque != nullptr ? append_opaque_items(building, node, *opaque, inside, to)
                                  : append_items(building, node, inside, to);
    return done && end_by(building, node, by_length, place, to->size - start, inside, ELEMENT_SEQUENCE_END, to);
}

// ---- chains ---------------------------------------------------------------------------

// Nodes from one up to another, through the library.
static bool append_run(Building *building, DICOM_List *first, DICOM_List *end, unsigned char mode, Pieces *to)
{
    DICOM_List *last = first;
    while (last->next != end)
        last = last->next;
    last->next = nullptr;
    char *block = nullptr;
    int size = DICOM_List2Stream(nullptr, static_cast<char>(mode), first, &block);
    last->next = end;
    if (size <= 0) {
        DICOM_Lib_Free(&block);
        return fail(building, first, "cannot be written: not enough memory, or too long");
    }
    append_block(to, block, static_cast<unsigned int>(size));
    return true;
}

static bool append_hosts(Building *building, DICOM_List *node, unsigned char mode, Pieces *to)
{
    if (is_encapsulated(node)) {
        append_fragments(building, node, mode, to);
        return true;
    }
    if (node->item != nullptr || is_opaque(building, node))
        return append_sequence(building, node, mode, to);
    append_value(building, node, mode, to);
    return true;
}

bool append_chain(Building *building, DICOM_List *first, DICOM_List *end, unsigned char mode, Pieces *to)
{
    for (DICOM_List *node = first; node != end;) {
        if ((node->flag & FLAG_USED) != 0) {
            if (!append_hosts(building, node, mode, to))
                return false;
            node = node->next;
            continue;
        }
        DICOM_List *run = node;
        while (node != end && (node->flag & FLAG_USED) == 0)
            node = node->next;
        if (!append_run(building, run, node, mode, to))
            return false;
    }
    return true;
}

}   // namespace velmora_host
