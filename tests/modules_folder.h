// A definition directory of a test: made empty, filled by the test, and gone with all that was read from it.
#ifndef VELMORA_TESTS_MODULES_FOLDER_H
#define VELMORA_TESTS_MODULES_FOLDER_H

#include <stdlib.h>
#include <filesystem>
#include <string>

#include "modules/modules_internal.h"
#include "tests/support/reports.h"

struct Folder {
    Folder()
    {
        char name[] = "/tmp/velmora_modules_XXXXXX";
        path = std::string(mkdtemp(name)) + "/";
        DICOM_Module_Setup(nullptr, path.c_str());
    }
    ~Folder()
    {
        forget();
        DICOM_Module_Setup(nullptr, "");
        std::filesystem::remove_all(path);
    }
    Folder(const Folder &) = delete;

    // Writes a file and returns its path.
    std::string write(const std::string &name, const std::string &text) const
    {
        FILE *stream = fopen((path + name).c_str(), "wb");
        fwrite(text.data(), 1, text.size(), stream);
        fclose(stream);
        return path + name;
    }

    // Releases all that the library has read, but keeps the directory set.
    void forget() const
    {
        DICOM_Module_Free();
        DICOM_Module_Free_Private();
        DICOM_Module_Cleanup();
        DICOM_Module_Setup(nullptr, path.c_str());
    }

    std::string path;
};

inline std::string letters(unsigned short packed)
{
    return packed == 0 ? "--" : std::string{first_letter(packed), second_letter(packed)};
}

// A value as text: what is not printable shows as \x01.
inline std::string shown_bytes(const char *bytes, int size)
{
    std::string out;
    for (int i = 0; i < size; i++) {
        char text[8];
        unsigned char byte = static_cast<unsigned char>(bytes[i]);
        snprintf(text, sizeof text, byte < 0x20 || byte > 0x7E ? "\\x%02X" : "%c", byte);
        out += text;
    }
    return out;
}

// "0008,0060 CS 1  0004 2 [OT]" and the description, if any: tag, VR, type, flag, size, value.
inline std::string line_of(const DICOM_List *tag)
{
    char text[64];
    snprintf(text, sizeof text, "%04x,%04x %s %s %04x %d", tag->group, tag->element, letters(tag->vr).c_str(),
             letters(tag->type).c_str(), tag->flag, tag->size);
    std::string out = text;
    if (tag->data != nullptr)
        out += " [" + shown_bytes(tag->data, tag->size) + "]";
    if (tag->description != nullptr)
        out += " (" + std::string(tag->description) + ")";
    return out;
}

// A list or a tree, a line for each node, indented by depth.
inline std::string outline(const DICOM_List *list, const std::string &indent = "")
{
    std::string out;
    for (; list != nullptr; list = list->next) {
        out += indent + line_of(list) + "\n";
        for (int i = 0; i < list->nb_item && list->item[i] != nullptr; i++)
            out += indent + "  item\n" + outline(list->item[i], indent + "    ");
    }
    return out;
}

// The tags of a flat list: "0008,1140 item 0008,1150 /item /sequence".
inline std::string tags_of(const DICOM_List *list)
{
    std::string out;
    for (; list != nullptr; list = list->next) {
        char text[16];
        snprintf(text, sizeof text, "%04x,%04x", list->group, list->element);
        std::string tag = text;
        if (list->group == GROUP_ITEM)
            tag = list->element == ELEMENT_ITEM ? "item" : list->element == ELEMENT_ITEM_END ? "/item" : "/sequence";
        out += (out.empty() ? "" : " ") + tag;
    }
    return out;
}

// A flat list that is read from text, as from a file "a.txt".
struct Parsed {
    explicit Parsed(const std::string &text) : list(nullptr)
    {
        FILE *stream = fmemopen(const_cast<char *>(text.data()), text.size(), "rb");
        result = stream != nullptr ? DICOM_Module_Read_File(nullptr, stream, "a.txt", &list) : 1;   // no empty streams
        if (stream != nullptr)
            fclose(stream);
    }
    ~Parsed()
    {
        delete_list(nullptr, &list);
    }
    Parsed(const Parsed &) = delete;

    DICOM_List *list;
    int result;
};

// Warnings as they are reported, and a part of one in blue.
inline std::string blue(const std::string &text) { return "\x01" + text; }

inline std::string warning(const std::string &text) { return "    \xF1\x05WARNING:\x02 " + text + "\n"; }

inline std::string detail(const std::string &text) { return "    \xF1\t\t\x02 " + text + "\n"; }

// A warning pair about a line, of an attribute file unless it says otherwise.
inline std::string about_line(const std::string &file, int line, const std::string &text,
                              const std::string &kind = "Attribute file")
{
    return warning("reading " + kind + ":" + blue(file) + "\x02 line:" + blue(std::to_string(line)) + "\x02") +
           detail(text);
}

// The detail about a line that has no tag.
inline std::string no_tag_in(const std::string &line)
{
    return "Syntax error: expecting \"\x01(xxxx,yyyy) ...\x02\" instead of \"" + blue(line) + "\x02\"";
}

#endif
