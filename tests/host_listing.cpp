#include "tests/host_listing.h"

#include <stdlib.h>
#include <string.h>

using namespace velmora_host;

static std::string plain(const char *report)
{
    std::string text;
    for (const char *c = report; *c != '\0'; c++)
        if (static_cast<unsigned char>(*c) >= 0x20 && *c != '\x7F' && static_cast<unsigned char>(*c) < 0xF0)
            text += *c;
    size_t start = text.find_first_not_of(' ');
    text.erase(0, start == std::string::npos ? text.size() : start);
    return text.rfind("WARNING: ", 0) == 0 ? text.substr(9) : text;
}

static void take(void *user, HWND, int, const char *report)
{
    Place place;
    std::string text;
    if (place_of_report(report, &place))
        text = std::to_string(place.offset) + (place.path.empty() ? "" : " " + place.path) + ": ";
    static_cast<Loaded *>(user)->said.push_back(text + plain(report));
}

Loaded::Loaded(const Bytes &bytes, unsigned char mode, Load_Options options)
{
    // On the heap and of this size, so that a read behind it is found.
    block = static_cast<char *>(malloc(bytes.size() > 0 ? bytes.size() : 1));
    memcpy(block, bytes.data(), bytes.size());
    int old_warning = Flag_Error_Warning, old_report = Flag_Error_Report;
    Flag_Error_Warning = 3;
    Flag_Error_Report = 12;
    Error_Set_Sink(take, this);
    options.want_listing = true;
    result = load_from_memory(block, static_cast<int>(bytes.size()), mode, options, &set, &error);
    Error_Set_Sink(nullptr, nullptr);
    Flag_Error_Warning = old_warning;
    Flag_Error_Report = old_report;
}

Loaded::~Loaded()
{
    release_data_set(&set);
    free(block);
}

static std::string vr_letters(unsigned short vr)
{
    return vr == 0 ? "--" : std::string() + static_cast<char>(vr >> 8) + static_cast<char>(vr & 0xFF);
}

std::string Loaded::listing() const
{
    std::string text;
    for (const Listed &entry : set.listing) {
        char line[96];
        if (entry.kind == LISTED_ELEMENT)
            snprintf(line, sizeof line, "%04x,%04x %s %d @%d\n", entry.group, entry.element,
                     vr_letters(entry.vr).c_str(), entry.length, entry.data_pos);
        else
            snprintf(line, sizeof line, "%s %d: %d\n", entry.kind == LISTED_ITEM ? "item" : "fragment",
                     entry.item_number, entry.length);
        text += std::string(static_cast<size_t>(2 * entry.depth - (entry.kind != LISTED_ELEMENT)), ' ') + line;
    }
    return text;
}

static void append_chain(const DICOM_List *list, int depth, std::string *text)
{
    for (const DICOM_List *node = list; node != nullptr; node = node->next) {
        if (node->group == GROUP_ITEM && node->data == nullptr)
            continue;
        char tag[16];
        snprintf(tag, sizeof tag, "%04x,%04x ", node->group, node->element);
        *text += std::string(static_cast<size_t>(2 * depth), ' ') + tag +
                 vr_letters(node->vr_explicit != 0 ? node->vr_explicit : node->vr);
        if (node->data != nullptr)
            *text += " [" + std::string(node->data, static_cast<size_t>(node->size)) + "]";
        else if (node->item == nullptr)
            *text += " " + std::to_string(node->size);
        *text += "\n";
        for (int i = 0; i < node->nb_item && node->item[i] != nullptr; i++) {
            *text += std::string(static_cast<size_t>(2 * depth + 1), ' ') + "item\n";
            append_chain(node->item[i], depth + 1, text);
        }
    }
}

std::string Loaded::tree() const
{
    std::string text;
    append_chain(set.tree, 0, &text);
    return text;
}

std::string Loaded::warnings() const
{
    std::string text;
    for (const std::string &line : said)
        text += line + "\n";
    return text;
}
