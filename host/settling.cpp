// The nodes of a reading on their way into the tree.
#include "host/host_internal.h"
#include "tree/taking_internal.h"

#include <new>

namespace velmora_host
{

Flat_Chain::~Flat_Chain()
{
    for (const Segment &segment : segments)
        taking_free(segment.first);
    taking_free(loose);
    for (DICOM_List &tag : item_tags)
        DICOM_Lib_Free(&tag.description);
    taking_end(taking);
    for (DICOM_List *tree : aside_trees)
        taking_free(tree);
    if (aside != nullptr)
        taking_free(taking_tree(aside));
    taking_end(aside);
}

void settle_nodes(Flat_Chain *chain, Segment *segment, Taking *taking, const DICOM_List *end)
{
    while (segment->first != end) {
        DICOM_List *node = segment->first, *next = node->next;
        int restored = node->stream_word;
        node->stream_word = 0;
        chain->settled = node;
        if (!taking_add(nullptr, taking, node, next))
            throw std::bad_alloc();
        segment->first = next;
        if (restored == 0)
            continue;
        const Restored &was = segment->restored[static_cast<size_t>(restored) - 1];
        node->vr_explicit = was.vr_explicit;
        node->vr = was.vr;
        node->size = was.size;
    }
    chain->settled = nullptr;
}

void settle_item_tag(Flat_Chain *chain, Segment *segment, Taking *taking)
{
    chain->settled = segment->first;
    if (!taking_add_item_tag(taking, segment->first))
        throw std::bad_alloc();
    segment->first = nullptr;
    chain->settled = nullptr;
}

// ---- the VRs of a listing -------------------------------------------------------------

// The VR that counts, as the tree has it: a guess is stored there as UN.
static unsigned short listed_vr(const DICOM_List *node)
{
    if (node->vr_explicit != VR_NONE)
        return node->vr_explicit;
    return (node->flag & FLAG_GUESSED_VR) ? static_cast<unsigned short>(VR_UN) : node->vr;
}

// What stands beyond the ninth level is nested for the sake of its VRs alone.
void settle_vrs(Data_Set *set, Flat_Chain *chain)
{
    for (size_t i = 1; i < chain->segments.size(); i++) {
        chain->aside_trees.push_back(nullptr);
        chain->aside = taking_begin(nullptr);
        if (chain->aside == nullptr)
            throw std::bad_alloc();
        settle_nodes(chain, &chain->segments[i], chain->aside, nullptr);
        chain->aside_trees.back() = taking_tree(chain->aside);
        taking_end(chain->aside);   // at once: there may be very many
        chain->aside = nullptr;
    }
    for (size_t i = 0; i < set->listing.size(); i++)
        set->listing[i].vr = listed_vr(chain->listed[i]);
}

}   // namespace velmora_host
