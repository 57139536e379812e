#include "tests/host_conformed.h"

#include "tests/support/outline.h"
#include "tree/DICOM_Constants.h"

using namespace velmora_host;

Conformed::Conformed()
{
    DICOM_Module_Setup(nullptr, (folder.path + "/").c_str());
    DICOM_Module_List_Cleanup();
    register_makers();
    folder.write("DICOM_Module_T.txt", "T\n");
    options.module = "T";
    options.report_lacks = false;
}

Conformed::~Conformed()
{
    release_data_set(&set);
    DICOM_Module_Free();
    DICOM_Module_List_Cleanup();
    DICOM_Module_Setup(nullptr, "");
}

void Conformed::define(const std::string &lines)
{
    folder.write("DICOM_Attributes_T.txt", lines);
    DICOM_Module_Free();
}

void Conformed::conform(const Bytes &bytes)
{
    release_data_set(&set);
    source = bytes;
    bool has_head = bytes.size() > 132 && bytes.compare(128, 4, "DICM") == 0;
    load_from_memory(source.data(), static_cast<int>(source.size()), has_head ? MODE_UNKNOWN : MODE_EXPLICIT_LITTLE,
                     Load_Options(), &set, &error);
    velmora_host::conform(&set, options, &result, &error);
}

static std::string tag_of(const std::string &path, unsigned short group, unsigned short element)
{
    char text[16];
    snprintf(text, sizeof text, "%04x,%04x", group, element);
    return path + text;
}

std::string Conformed::told() const
{
    std::string text = error.empty() ? "" : "error: " + error + "\n";
    for (const Conform_Change &change : result.changes) {
        text += std::string(1, "+~-"[change.kind]) + " " + tag_of(change.path, change.group, change.element);
        text += change.kind == VALUE_CHANGED ? " [" + change.before + "] [" + change.after + "]"
                                             : " [" + change.before + change.after + "]";
        text += change.why.empty() ? "\n" : " " + change.why + "\n";
    }
    for (const Conform_Lack &lack : result.lacks) {
        static const char *const kinds[] = {"? ", "?e ", "?w "};
        text +=
            kinds[lack.kind] + tag_of(lack.path, lack.group, lack.element) + " " + static_cast<char>(lack.type >> 8);
        text += lack.items > 1 ? " x" + std::to_string(lack.items) + "\n" : "\n";
    }
    return text;
}

std::string Conformed::tree() const
{
    std::string text = outline(set.tree);
    for (size_t at = 0; (at = text.find(" SQ ", at)) != std::string::npos; at++)
        text.erase(at + 3, text.find('\n', at) - at - 3);
    return text;
}
