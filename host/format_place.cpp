// Where in the stream the element stands that a report is about, while DICOM_Attribute_Format makes the tree. The
// reports name a tag only, but they come in the order of the chain, one for each element that gives the reason: so the
// next element with that tag and that reason is meant.
#include "host/host_internal.h"

#include <stdio.h>
#include <algorithm>

namespace velmora_host
{

// The element that the last report was about, or the first one; null outside of the making of a tree.
static const DICOM_List *last_found = nullptr;
static const DICOM_List *before_last = nullptr;   // what stands in front of it
static const Data_Set *formatted_set = nullptr;
static int64_t steps_left = 0;   // what the search may still cost: each report can lead it to the end of the chain

static const int64_t MOST_STEPS = 20000000;

void begin_formatting(const Data_Set *set, const DICOM_List *first)
{
    formatted_set = set;
    last_found = first;
    before_last = nullptr;
    steps_left = MOST_STEPS;
}

void end_formatting()
{
    last_found = before_last = nullptr;
}

// ---- reasons --------------------------------------------------------------------------

static bool is_retired(const DICOM_List *, const DICOM_List *node, const char *)
{
    return node->db != nullptr && node->db->type <= 0;
}

static bool has_other_vr(const DICOM_List *, const DICOM_List *node, const char *report)
{
    const char *letters = strstr(report, "(=\x01");
    if (node->db == nullptr || letters == nullptr || strlen(letters) < 5 ||
        node->vr_explicit != pack_letters(letters[3], letters[4]))
        return false;
    int alternates = std::min(abs(node->db->type), 3);
    return std::find(node->db->vr, node->db->vr + alternates, node->vr_explicit) == node->db->vr + alternates;
}

static unsigned int tag_of(const DICOM_List *node)
{
    return static_cast<unsigned int>(node->group) << 16 | node->element;
}

static bool is_out_of_order(const DICOM_List *before, const DICOM_List *node, const char *)
{
    return before != nullptr && (before->group == GROUP_ITEM || tag_of(node) < tag_of(before));
}

static bool has_no_length(const DICOM_List *, const DICOM_List *node, const char *)
{
    return node->size == -1;
}

struct Reason_Row {
    const char *text;   // in the report
    bool (*is_given)(const DICOM_List *before, const DICOM_List *node, const char *report);
};

static const Reason_Row reason_rows[] = {
    {"Retired from DICOM",         is_retired     },
    {"does not match definition",  has_other_vr   },
    {"tags should be sorted",      is_out_of_order},
    {"missing end of sequence",    is_out_of_order},
    {"should be followed by",      has_no_length  },
    {"Variable length tag is not", has_no_length  },
};

// ---- the search -----------------------------------------------------------------------

// The first tag in a report, whose numbers may stand between control bytes.
static bool parse_tag(const char *report, unsigned int *group, unsigned int *element)
{
    char plain[64];
    size_t count = 0;
    const char *at = strchr(report, '(');
    for (; at != nullptr && *at != '\0' && count + 1 < sizeof plain; at++)
        if (static_cast<unsigned char>(*at) >= ' ')
            plain[count++] = *at;
    plain[count] = '\0';
    return sscanf(plain, "(%4x,%4x)", group, element) == 2;
}

static const DICOM_List *find_formatted(const char *report)
{
    unsigned int group = 0, element = 0;
    if (last_found == nullptr || !parse_tag(report, &group, &element))
        return nullptr;
    auto row = std::find_if(std::begin(reason_rows), std::end(reason_rows),
                            [report](const Reason_Row &each) { return strstr(report, each.text) != nullptr; });
    const DICOM_List *before = before_last;
    for (const DICOM_List *node = last_found; node != nullptr && steps_left-- > 0; before = node, node = node->next) {
        if (node->group != group || node->element != element ||
            (row != std::end(reason_rows) && !row->is_given(before, node, report)))
            continue;
        last_found = node;
        before_last = before;
        return node;
    }
    return nullptr;
}

bool place_of_formatting(const char *report, Place *place)
{
    const DICOM_List *node = find_formatted(report);
    if (node == nullptr)
        return false;
    int base = formatted_set->stream_base;
    place->offset = node->pos >= base ? node->pos - base : node->pos;
    place->pos = node->pos;
    place->group = node->group;
    place->element = node->element;
    place->path.clear();
    place->has_path = false;
    return true;
}

}   // namespace velmora_host
