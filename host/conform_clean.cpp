// The library's cleaning of a data set, and the review of what it came to.
#include "host/charset.h"
#include "host/conform_internal.h"

#include <ctype.h>

namespace velmora_host
{

// ---- before the library cleans --------------------------------------------------------

static bool has_lower_case(const DICOM_List *node)
{
    for (int i = 0; i < node->size; i++)
        if (islower(static_cast<unsigned char>(node->data[i])))
            return true;
    return false;
}

// Letters of lower case are no part of a code string (DICOM PS3.5, 6.2), and upper case is what was meant.
static void raise_code_strings(DICOM_List *list)
{
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        if (node->data != nullptr && working_vr(node) == VR_CS && has_lower_case(node)) {
            std::string text = code_strings(text_of(node));
            set_value(node, text + (text.size() % 2 != 0 ? " " : ""));
        }
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++)
            raise_code_strings(node->item[i]);
    }
}

// ---- review ---------------------------------------------------------------------------

struct Review {
    Conforming *run;
    size_t at = 0;   // in the snapshot, whose nodes are those of the tree, one by one
    std::string path;
};

static void review_value(Review *review, DICOM_List *node, const Seen &seen, const Character_Set &charset)
{
    std::string was = without_padding(review->run->before.values.data() + seen.value, seen.size);
    if (review_cleaning(node, was, charset) == CLEANED && node->size == 0 && !was.empty())
        note_reason(review->run, review->path, node, "its value is not allowed");
}

static bool is_touched(const Review &review, const DICOM_List *node, const Seen &seen)
{
    if (seen.value < 0)
        return false;
    const char *was = review.run->before.values.data() + seen.value;
    return node->size != seen.size || (node->flag & FLAG_INVALID) != 0 ||
           memcmp(was, node->data, static_cast<size_t>(seen.size)) != 0;
}

// An item may have a character set of its own (DICOM PS3.3, C.12.1.1.2).
static Character_Set charset_in(DICOM_List *list, const Character_Set &around)
{
    Character_Set charset = around;
    std::string unknown, term = text_of(find_in_sorted_chain(list, 0x0008, 0x0005));
    if (!term.empty())
        parse_character_set(term.data(), term.size(), &charset, &unknown);
    return charset;
}

static void review_chain(Review *review, DICOM_List *list, const Character_Set &around)
{
    Character_Set charset = charset_in(list, around);
    for (DICOM_List *node = list; node != nullptr; node = node->next) {
        const Seen &seen = review->run->before.nodes[review->at++];
        if (is_touched(*review, node, seen))
            review_value(review, node, seen, charset);
        in_each_item(node, &review->path,
                     [review, &charset](DICOM_List *item) { review_chain(review, item, charset); });
    }
    review->at++;   // the end of the chain
}

void clean_values(Conforming *run)
{
    DICOM_Root root = {};
    Review review;
    review.run = run;
    raise_code_strings(run->set->tree);
    DICOM_Attribute_Cleanup(nullptr, &root, run->set->tree);
    review_chain(&review, run->set->tree, Character_Set());
}

}   // namespace velmora_host
