// The head of a file: group 0002 of the tree made what the file is, and written (DICOM PS3.10, 7.1).
#include "host/save_internal.h"

namespace velmora_host
{

static const char IMPLEMENTATION_VERSION[] = "VELMORA_" VELMORA_VERSION;

bool looks_like_uid(std::string_view text)
{
    if (text.empty() || text.size() > 64 || text.front() == '.' || text.back() == '.')
        return false;
    char before = '\0';
    for (char c : text) {
        bool is_digit = c >= '0' && c <= '9';
        if (!is_digit && (c != '.' || before == '.'))
            return false;
        before = c;
    }
    return true;
}

static void drop_from_head(DICOM_List **head, unsigned short element)
{
    DICOM_Root root = {};
    DICOM_Attribute_Delete(nullptr, &root, head, static_cast<unsigned short>(GROUP_FILE_META), element);
}

static bool has_value(DICOM_List *head, unsigned short element)
{
    const DICOM_List *node = find_in_chain(head, GROUP_FILE_META, element);
    return node != nullptr && node->data != nullptr;
}

// An element of the head, which is sorted, that needs no more than another value: it is the only one of its tag, and of
// the right form. To make it anew takes as long as the writing of twenty others.
static DICOM_List *find_to_keep(DICOM_List *head, unsigned short element, unsigned short vr)
{
    DICOM_List *node = find_in_sorted_chain(head, GROUP_FILE_META, element);
    bool is_kept = node != nullptr && node->vr_explicit == vr && node->item == nullptr && node->data != nullptr &&
                   (node->next == nullptr || node->next->element != element);
    return is_kept ? node : nullptr;
}

static bool has_text(const DICOM_List *node, std::string_view text)
{
    size_t size = text.size() + text.size() % 2;
    return node->size == static_cast<int>(size) && memcmp(node->data, text.data(), text.size()) == 0 &&
           (size == text.size() || node->data[size - 1] == padding_of(node));
}

//   text  that the cleaning of its VR leaves as it is
static bool keep_with_text(DICOM_List *node, std::string_view text)
{
    if (has_text(node, text))
        return true;
    size_t size = text.size() + text.size() % 2;
    if (!DICOM_Lib_Realloc(&node->data, static_cast<unsigned int>(size)))
        return false;
    node->data[size - 1] = padding_of(node);
    memcpy(node->data, text.data(), text.size());
    node->size = static_cast<int>(size);
    node->flag = ORIGIN_VELM;
    return true;
}

static bool set_in_head(DICOM_List **head, unsigned short element, unsigned short vr, std::string_view text)
{
    if (DICOM_List *kept = find_to_keep(*head, element, vr))
        return keep_with_text(kept, text);
    DICOM_Root root = {};
    drop_from_head(head, element);
    DICOM_Attribute_Add(nullptr, &root, head, GROUP_FILE_META, element, vr, 1, std::string(text).c_str());
    return has_value(*head, element);
}

static bool set_version_in_head(DICOM_List **head)
{
    static const unsigned short ELEMENT_VERSION = 0x0001;
    if (DICOM_List *kept = find_to_keep(*head, ELEMENT_VERSION, VR_OB))
        return keep_with_text(kept, std::string_view("\0\1", 2));
    DICOM_Root root = {};
    drop_from_head(head, ELEMENT_VERSION);
    DICOM_Attribute_Add(nullptr, &root, head, GROUP_FILE_META, ELEMENT_VERSION, VR_OB, 2, 0, 1);
    return has_value(*head, ELEMENT_VERSION);
}

// Group 0002 of a sorted tree as a chain of its own for as long as this lives; what follows it in the tree is what it was.
struct Taken_Head {
    explicit Taken_Head(DICOM_List **from) : tree(from)
    {
        DICOM_List **end = &head;
        for (DICOM_List **link = tree; *link != nullptr && (*link)->group <= GROUP_FILE_META;) {
            DICOM_List *node = *link;
            if (node->group != GROUP_FILE_META) {
                link = &node->next;
                continue;
            }
            *link = node->next;
            node->next = nullptr;
            *end = node;
            end = &node->next;
        }
        forget_ends();
    }
    ~Taken_Head()
    {
        DICOM_List **link = tree;
        while (*link != nullptr && (*link)->group < GROUP_FILE_META)
            link = &(*link)->next;
        DICOM_List *behind = *link;
        *link = head;
        while (*link != nullptr)
            link = &(*link)->next;
        *link = behind;
        forget_ends();
    }
    Taken_Head(const Taken_Head &) = delete;

    void forget_ends()
    {
        if (*tree != nullptr)
            (*tree)->last = nullptr;
        if (head != nullptr)
            head->last = nullptr;
    }

    DICOM_List **tree, *head = nullptr;
};

// A value of the head as the library's writer can write it.
static bool prepare_head_value(const Data_Set &set, const Save_Options &options, DICOM_List *node)
{
    static const int MOST_IN_SHORT_FORM = 65534;   // with an even length
    if (node->data != nullptr && node->size % 2 == 0 && node->size <= MOST_IN_SHORT_FORM && node->item == nullptr &&
        is_plain_vr(node->vr_explicit))
        return true;   // as most are
    if (!fetch_value(set, node))
        return false;
    if (node->item != nullptr)
        return true;
    const VR_Form &form = vr_form(true_vr(node));
    int size = 0;
    bool is_no_sequence = form.vr == VR_SQ && value_of(set, node, &size) != nullptr;   // bytes that are no items
    char padding = padding_of(node);
    if (is_no_sequence || form.is_later || (!form.is_long && node->size > MOST_IN_SHORT_FORM))
        node->vr_explicit = VR_UN;
    bool is_padded = options.even_lengths && node->data != nullptr && node->size % 2 != 0;
    return !is_padded || set_value(node, std::string(node->data, static_cast<size_t>(node->size)) + padding);
}

// The head says what is in the file (DICOM PS3.10, 7.1); what else it said stays.
static bool make_head(const Data_Set &set, const Save_Options &options, const std::string &transfer_syntax,
                      DICOM_List **head)
{
    static const struct {
        unsigned short from, to;
    } copied[] = {
        {0x0016, 0x0002},
        {0x0018, 0x0003},
    };
    for (DICOM_List *node = *head; node != nullptr; node = node->next)
        if (!prepare_head_value(set, options, node))
            return false;
    if (!set_version_in_head(head))
        return false;
    for (const auto &row : copied) {
        const DICOM_List *node = find_in_sorted_chain(set.tree, 0x0008, row.from);
        int size = 0;
        const char *bytes = node != nullptr ? value_of(set, node, &size) : nullptr;   // which may be left in the source
        std::string_view uid = text_in(bytes, size);
        if (looks_like_uid(uid) && !set_in_head(head, row.to, VR_UI, uid))
            return false;
    }
    std::string implementation;
    implementation.append(Velmora_UID).append(".1");
    return set_in_head(head, 0x0010, VR_UI, transfer_syntax) && set_in_head(head, 0x0012, VR_UI, implementation) &&
           set_in_head(head, 0x0013, VR_SH, IMPLEMENTATION_VERSION);
}

// A head as the library's writer makes it.
static bool write_usual_head(DICOM_List *head, Target *target)
{
    char *block = nullptr;
    unsigned int size = DICOM_Write_Part10(nullptr, static_cast<char>(MODE_EXPLICIT_LITTLE), head, &block);
    if (size > 0)
        put(target, block, size);
    DICOM_Lib_Free(&block);
    return size > 0;
}

// A head with sequences, which the standard knows nothing of: their items are the host's to write.
static bool write_odd_head(const Data_Set &set, const Save_Options &options, DICOM_List *head, Target *target,
                           std::string *error)
{
    static const unsigned char mode = MODE_EXPLICIT_LITTLE;
    Building building = {&set, &options, 0, nullptr, {}};
    Pieces start, elements;
    mark_for_host(&building, head, mode);
    if (!append_chain(&building, head, nullptr, mode, &elements)) {
        *error = building.error;
        return false;
    }
    append_text(&start, std::string(128, '\0').append("DICM").data(), 132);
    append_header(&start, mode, GROUP_FILE_META, 0x0000, VR_UL, 4);
    Length_Place value = {start.list.size() - 1, start.list.back().text.size()};
    append_text(&start, "\0\0\0\0", 4);
    set_length(&start, value, mode, static_cast<unsigned int>(elements.size));
    return put_pieces(target, set.source, start, mode, error) && put_pieces(target, set.source, elements, mode, error);
}

bool write_head(Data_Set *set, const Save_Options &options, const std::string &transfer_syntax, Target *target,
                std::string *error)
{
    Taken_Head taken(&set->tree);
    bool has_items = false, done = make_head(*set, options, transfer_syntax, &taken.head);
    for (const DICOM_List *node = taken.head; node != nullptr; node = node->next)
        has_items |= node->item != nullptr;
    done = done && (has_items ? write_odd_head(*set, options, taken.head, target, error)
                              : write_usual_head(taken.head, target));
    if (!done && error->empty())
        *error = NO_MEMORY;
    return done;
}

}   // namespace velmora_host
