// Media directories. Their records point at each other by offsets from the start of the file (DICOM PS3.3, F.3.2), so
// that what moves in the file has to be followed there.
#include "host/save_internal.h"

#include <stdio.h>
#include <algorithm>

namespace velmora_host
{

static const unsigned short GROUP_DIRECTORY = 0x0004, ELEMENT_RECORDS = 0x1220;
static const unsigned short TOP_OFFSETS[] = {0x1200, 0x1202}, RECORD_OFFSETS[] = {0x1400, 0x1420, 0x1504};

struct Moved {
    int from;
    int64_t to;
};

bool is_media_directory(const Data_Set &set)
{
    return find_in_sorted_chain(set.tree, GROUP_DIRECTORY, ELEMENT_RECORDS) != nullptr;
}

void note_records(DICOM_List *sequence)
{
    for (int i = 0; i < sequence->nb_item; i++)
        for (DICOM_List *node = sequence->item[i]; node != nullptr; node = node->next)
            node->stream_word = sequence->item[i]->pos;
}

static bool comes_first(const Moved &a, const Moved &b)
{
    return a.from < b.from;
}

static const Moved *find_moved(const std::vector<Moved> &sorted, unsigned int from)
{
    Moved wanted = {static_cast<int>(from), 0};
    auto at = std::lower_bound(sorted.begin(), sorted.end(), wanted, comes_first);
    return at != sorted.end() && at->from == wanted.from ? &*at : nullptr;
}

// Where a record stood. What was put in front of its attributes stood nowhere.
static int place_of(const DICOM_List *record)
{
    while (record != nullptr && record->stream_word == 0)
        record = record->next;
    return record != nullptr ? record->stream_word : 0;
}

static std::vector<Moved> moves_of(const DICOM_List *records, const std::vector<int64_t> &places)
{
    std::vector<Moved> moves;
    for (size_t i = 0; i < places.size(); i++)
        moves.push_back({place_of(records->item[i]), places[i]});
    std::sort(moves.begin(), moves.end(), comes_first);
    return moves;
}

// Looks at the offsets of one chain, or moves them.
template <size_t Count>
static bool follow(DICOM_List *chain, const unsigned short (&elements)[Count], const std::vector<Moved> &moves,
                   bool writes, std::string *error)
{
    for (unsigned short element : elements) {
        DICOM_List *node = find_in_chain(chain, GROUP_DIRECTORY, element);
        if (node == nullptr || node->data == nullptr || node->size != 4)
            continue;
        unsigned int from = get_32(MODE_IMPLICIT_LITTLE, node->data);
        const Moved *moved = from != 0 ? find_moved(moves, from) : nullptr;
        if (from != 0 && moved == nullptr) {
            char text[160];
            snprintf(text, sizeof text,
                     "(0004,%04x) of the media directory points to offset %u, where no record begins", element, from);
            *error = text;
            return false;
        }
        if (writes && moved != nullptr)
            for (int i = 0; i < 4; i++)
                node->data[i] = static_cast<char>(moved->to >> 8 * i & 0xFF);
    }
    return true;
}

bool move_records(DICOM_List *tree, const std::vector<int64_t> &places, std::string *error)
{
    DICOM_List *records = find_in_chain(tree, GROUP_DIRECTORY, ELEMENT_RECORDS);
    std::vector<Moved> moves = moves_of(records, places);
    for (bool writes : {false, true}) {
        if (!follow(tree, TOP_OFFSETS, moves, writes, error))
            return false;
        for (size_t i = 0; i < places.size(); i++)
            if (!follow(records->item[i], RECORD_OFFSETS, moves, writes, error))
                return false;
    }
    for (size_t i = 0; i < places.size(); i++)
        for (DICOM_List *node = records->item[i]; node != nullptr; node = node->next)
            node->stream_word = static_cast<int>(places[i]);
    return true;
}

}   // namespace velmora_host
