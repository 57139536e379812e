// Complement: adds to each node of a tree what the library knows of its tag. The dictionary gives rows and VRs; this
// file gives descriptions where the dictionary has none. Definition files of private creators are read elsewhere.
#include "dictionary/dictionary_internal.h"

#include <algorithm>
#include <stdarg.h>
#include <stdio.h>

#include "tree/tree_internal.h"

static const char SOURCE[] = ".\\NEMA_Tag_Complement";

enum { DESCRIPTION_ROOM = 288, CREATOR_LENGTH = 64 };

enum : unsigned short {
    GROUP_PIXEL_DATA = 0x7FE0,
    ELEMENT_PIXEL_DATA = 0x0010,
    GROUP_COMPRESSION = 0x1000,
    FIRST_GROUP_COMPRESSED = 0x7F00,
    LAST_GROUP_COMPRESSED = 0x7FDF,
    FIRST_CREATOR = 0x0010,   // private creators and the blocks that they reserve: DICOM PS3.5, 7.8.1
    LAST_CREATOR = 0x00FF,
    FIRST_OF_BLOCKS = 0x1000,
};

struct Banner {
    unsigned short group;
    const char *text;
};

// 38 characters behind two control bytes: they fill the description column of a dump.
static const Banner banners[] = {
    {0x0002, "\xF1\x02===== Group 0002 (File) =============="},
    {0x0008, "\xF1\x02===== Group 0008 (Identifying) ======="},
    {0x0010, "\xF1\x02===== Group 0010 (Patient) ==========="},
    {0x0018, "\xF1\x02===== Group 0018 (Acquisition) ======="},
    {0x0020, "\xF1\x02===== Group 0020 (Relationship) ======"},
    {0x0028, "\xF1\x02===== Group 0028 (Presentation) ======"},
    {0x7FE0, "\xF1\x02===== Group 7FE0 (Image Data) ========"},
};

struct Layout {
    unsigned short element;
    unsigned short vr;
    const char *description;
};

// Two vendors' compression of pixel data.
static const Layout compression_info[] = {
    {0x0000, VR_LT, "\xF1\x02---- ---- Group 1000: Compression Info ---- ----\xF0\x01"},
    {0x0010, VR_US, "Huffman:"                                                        },
    {0x0012, VR_US, "Nb. Huffman Values:"                                             },
    {0x0013, VR_SS, "Huffman Values:"                                                 },
};

static const Layout compressed_data[] = {
    {0x0000, VR_UL, "Siemens Compression: Group Name"},
    {0x0010, VR_OB, "Siemens Compression: Data"      },
    {0x0011, VR_OW, "Siemens Compression: Next Group"},
};

/* ---- one node ---------------------------------------------------------------------- */

// The description becomes a copy of the text, or null for an empty one. The text may not be the old description.
static int set_description(HWND window, DICOM_List *tag, const char *text)
{
    frame_free(tag->description);
    tag->description = nullptr;
    if (*text == '\0')
        return 1;
    tag->description = ALLOC_STRDUP(window, "tag->description", text);
    return tag->description != nullptr;
}

static int complement(HWND window, DICOM_List *tag, unsigned short vr, const char *text)
{
    tag->vr = vr;
    return set_description(window, tag, text);
}

static void complement_group_length(HWND window, DICOM_List *tag)
{
    for (const Banner &banner : banners) {
        if (banner.group == tag->group) {
            complement(window, tag, VR_UL, banner.text);
            return;
        }
    }
    if (tag->size == 4)
        DICOM_Attribute_Complement_Tag(window, tag, VR_UL,
                                       "\xF1\x02===== Group %04x =====================", tag->group);
}

template <size_t Rows> static void complement_from(HWND window, DICOM_List *tag, const Layout (&layout)[Rows])
{
    for (const Layout &row : layout)
        if (row.element == tag->element)
            complement(window, tag, row.vr, row.description);
}

int SPI_Complement_1000(HWND window, DICOM_List *tag)
{
    REPORT(window, LEVEL_FUNCTION, "in SPI_Complement_1000(%04x,%04x)", tag->group, tag->element);
    complement_from(window, tag, compression_info);
    return 1;
}

int SPI_Complement_7Fxx(HWND window, DICOM_List *tag)
{
    REPORT(window, LEVEL_FUNCTION, "in SPI_Complement_7Fxx(%04x,%04x)", tag->group, tag->element);
    complement_from(window, tag, compressed_data);
    return 1;
}

static void complement_item_tag(HWND window, DICOM_List *tag)
{
    switch (tag->element) {
    case ELEMENT_ITEM:
        set_description(window, tag, "\x01Item");
        break;
    case ELEMENT_ITEM_END:
        set_description(window, tag, "\x01Item Delimitation Item");
        break;
    case ELEMENT_SEQUENCE_END:
        set_description(window, tag, "\x01Sequence Delimitation Item");
        break;
    default:
        break;
    }
}

/* ---- private creators of a chain --------------------------------------------------- */

// A scan of the chain for each private attribute would take square time on a long chain. So the chain's creators are
// sorted once, at the first question; the walk does not change the chain. The answers are those of DICOM_Attribute_Get,
// which is asked itself where more than a scan of the chain is wanted of it.
struct Private_Creator {
    unsigned int tag;     // group in the high half, element in the low one
    unsigned int place;   // in the chain: of several with one tag the first counts
    DICOM_List *node;
};

enum { FEW_CREATORS = 16 };

struct Creators {
    DICOM_List *list;   // head of the chain
    Private_Creator *sorted;    // few, or a heap block
    int count;          // -1: not collected yet
    bool is_plain;      // there is no collection: DICOM_Attribute_Get answers
    Private_Creator few[FEW_CREATORS];
};

static void open_creators(Creators *creators, DICOM_List *list)
{
    creators->list = list;
    creators->sorted = creators->few;
    creators->count = -1;
    creators->is_plain = false;
}

static void close_creators(Creators *creators)
{
    if (creators->sorted != creators->few)
        frame_free(creators->sorted);
}

static bool is_creator_element(unsigned short element)
{
    return element >= FIRST_CREATOR && element <= LAST_CREATOR;
}

static unsigned int packed_tag(unsigned short group, unsigned short element)
{
    return static_cast<unsigned int>(group) << 16 | element;
}

static bool has_wildcard_group(const DICOM_List *list)
{
    for (const DICOM_List *tag = list; tag != nullptr; tag = tag->next)
        if (tag->group == ANY_TAG_NUMBER)
            return true;
    return false;
}

// Writes down the creators of the chain, as many as there is room for; returns how many there are. The group FFFF is a
// wildcard for lookups: with it in the chain, each node with a creator's element is entered as one of FFFF too.
static int list_creators(DICOM_List *list, bool with_wildcard, Private_Creator *out, int room)
{
    int count = 0;
    unsigned int place = 0;
    for (DICOM_List *tag = list; tag != nullptr; tag = tag->next, place++) {
        if (!is_creator_element(tag->element))
            continue;
        if (is_private_group(tag->group) && count++ < room)
            out[count - 1] = {packed_tag(tag->group, tag->element), place, tag};
        if (with_wildcard && count++ < room)
            out[count - 1] = {packed_tag(ANY_TAG_NUMBER, tag->element), place, tag};
    }
    return count;
}

static bool stands_before(const Private_Creator &a, const Private_Creator &b)
{
    return a.tag != b.tag ? a.tag < b.tag : a.place < b.place;
}

static void collect_creators(HWND window, Creators *creators)
{
    bool with_wildcard = has_wildcard_group(creators->list);
    int count = list_creators(creators->list, with_wildcard, creators->few, FEW_CREATORS);
    if (count > FEW_CREATORS) {
        Private_Creator *many =
            static_cast<Private_Creator *>(ALLOC_MALLOC(window, "creators", count, sizeof(Private_Creator)));
        creators->is_plain = many == nullptr;
        if (creators->is_plain)
            return;
        creators->sorted = many;
        list_creators(creators->list, with_wildcard, many, count);
    }
    creators->count = count;
    std::sort(creators->sorted, creators->sorted + count, stands_before);
}

static DICOM_List *find_creator(HWND window, DICOM_Root *root, Creators *creators, unsigned short group,
                                unsigned short element)
{
    // A chain above the cursor's depth is left by a walk down, and who wants the lookup's traces gets the lookup.
    const DICOM_List *list = creators->list;
    bool wants_walk = list == nullptr || list->depth < root->Sequence_Depth;
    bool wants_traces = report_threshold >= LEVEL_FUNCTION;
    // Hosts that read element by element ask for one node at a time.
    bool is_alone = list != nullptr && list->next == nullptr && !is_creator_element(list->element);
    if (is_alone && !wants_walk && !wants_traces)
        return nullptr;
    if (!creators->is_plain && !wants_walk && !wants_traces && creators->count < 0)
        collect_creators(window, creators);
    if (creators->is_plain || wants_walk || wants_traces)
        return DICOM_Attribute_Get(window, root, creators->list, group, element, 0);

    const Private_Creator wanted = {packed_tag(group, element), 0, nullptr};
    const Private_Creator *end = creators->sorted + creators->count;
    const Private_Creator *start = creators->sorted, *found = std::lower_bound(start, end, wanted, stands_before);
    return found != end && found->tag == wanted.tag ? found->node : nullptr;
}

/* ---- private attributes ------------------------------------------------------------ */

static void creator_text(const DICOM_List *creator, char text[CREATOR_LENGTH + 1])
{
    int length = creator->data != nullptr && creator->size > 0 ? creator->size : 0;
    if (length > CREATOR_LENGTH)
        length = CREATOR_LENGTH;
    if (length > 0)
        memcpy(text, creator->data, static_cast<size_t>(length));
    text[length] = '\0';
    Str_Strip_Spaces(text);
}

static void complement_private(HWND window, DICOM_Root *root, Creators *creators, DICOM_List *tag)
{
    if (is_creator_element(tag->element))
        complement(window, tag, VR_LO, "Private Creator Data Element");
    if (tag->element < FIRST_OF_BLOCKS)
        return;

    unsigned short block = static_cast<unsigned short>(tag->element >> 8);
    const DICOM_List *creator = find_creator(window, root, creators, tag->group, block);
    if (creator == nullptr)
        return;
    char text[CREATOR_LENGTH + 1];
    creator_text(creator, text);
    if (!DICOM_Module_Read_Private(window, text, tag))
        set_description(window, tag, text);
}

/* ---- the walk ---------------------------------------------------------------------- */

static void complement_node(HWND window, DICOM_Root *root, Creators *creators, DICOM_List *tag)
{
    if (tag->db == nullptr)
        tag->db = NEMA_db_Locate(tag->group, tag->element);
    if (tag->db != nullptr && tag->vr == VR_NONE)
        tag->vr = tag->db->vr[0];
    if (tag->element == 0 && tag->description == nullptr)
        complement_group_length(window, tag);
    if (is_private_group(tag->group))
        complement_private(window, root, creators, tag);
    if (tag->group == GROUP_COMPRESSION && (tag->flag & FLAG_PRIVATE) != 0)
        SPI_Complement_1000(window, tag);
    if (tag->group >= FIRST_GROUP_COMPRESSED && tag->group <= LAST_GROUP_COMPRESSED && (tag->flag & FLAG_PRIVATE) != 0)
        SPI_Complement_7Fxx(window, tag);
    if (is_tag(tag, GROUP_PIXEL_DATA, ELEMENT_PIXEL_DATA))
        complement(window, tag, VR_OB, "Pixel Data");
    if (tag->group == GROUP_ITEM)
        complement_item_tag(window, tag);
}

int DICOM_Attribute_Complement(HWND window, DICOM_Root *root, DICOM_List *list)
{
    REPORT(window, LEVEL_ATTRIBUTE, "in DICOM_Attribute_Complement()");
    Creators creators;
    open_creators(&creators, list);
    for (DICOM_List *tag = list; tag != nullptr; tag = tag->next) {
        REPORT(window, LEVEL_FUNCTION, "DICOM_Attribute_Complement (%04x,%04x)", tag->group, tag->element);
        complement_node(window, root, &creators, tag);
        if (tag->item != nullptr)
            walk_items(window, root, tag, LEVEL_FUNCTION,
                       [=](DICOM_List **item) { DICOM_Attribute_Complement(window, root, *item); });
    }
    close_creators(&creators);
    return 0;
}

int DICOM_Attribute_Complement_Tag(HWND window, DICOM_List *tag, unsigned short vr, const char *format, ...)
{
    char text[DESCRIPTION_ROOM];
    va_list values;
    va_start(values, format);
    if (vsnprintf(text, sizeof text, format, values) < 0)
        text[0] = '\0';
    va_end(values);

    if (vr != VR_NONE)
        tag->vr = vr;
    return set_description(window, tag, text);
}

int DICOM_Attribute_Complement_Private(HWND window, DICOM_Root *root, DICOM_List *list, DICOM_List *tag)
{
    Creators creators;
    open_creators(&creators, list);
    creators.is_plain = true;   // one question: a collection would not pay
    complement_private(window, root, &creators, tag);
    return 1;
}
