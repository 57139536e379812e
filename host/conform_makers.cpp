// Values that a data set's template demands and that follow from the data set: handlers for DICOM_Module_Add. Each of
// them makes a value only where none is, and says where it comes from. What a person alone can know is not made:
// nothing about the patient, the examination or the equipment, and no date of either.
#include "host/conform_internal.h"

#include <sys/random.h>
#include <time.h>

namespace velmora_host
{

// The run that the handlers work for; they are asked by every call of DICOM_Module_Add in the process.
static Conforming *current = nullptr;

Making_For::Making_For(Conforming *run)
{
    current = run;
}

Making_For::~Making_For()
{
    current = nullptr;
}

// ---- UIDs -----------------------------------------------------------------------------

static const size_t LONGEST_UID = 64, FEWEST_DIGITS = 20;

bool is_uid(const std::string &text)
{
    bool valid = !text.empty() && text.size() <= LONGEST_UID && text.find_first_not_of("0123456789.") == text.npos;
    for (size_t at = 0; valid && at <= text.size();) {
        size_t end = std::min(text.find('.', at), text.size());
        valid = end > at && (text[at] != '0' || end == at + 1);   // no empty component, no leading zero
        at = end + 1;
    }
    return valid && text.find('.') != text.npos;
}

bool is_uid_root(const std::string &text)
{
    return is_uid(text) && text.size() + 1 + FEWEST_DIGITS <= LONGEST_UID;
}

// The decimal digits of a number of 16 bytes, highest first.
static std::string decimal(unsigned char bytes[16])
{
    std::string digits;
    bool is_zero = false;
    while (!is_zero) {
        unsigned int rest = 0;
        is_zero = true;
        for (int i = 0; i < 16; i++) {
            unsigned int part = rest << 8 | bytes[i];
            bytes[i] = static_cast<unsigned char>(part / 10);
            rest = part % 10;
            is_zero &= bytes[i] == 0;
        }
        digits.insert(digits.begin(), static_cast<char>('0' + rest));
    }
    return digits;
}

std::string make_uid(const std::string &root)
{
    unsigned char bytes[16];
    if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes))
        return "";
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);   // a random UUID (RFC 4122, 4.4)
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
    std::string digits = decimal(bytes);
    if (root.empty())
        return "2.25." + digits;
    size_t room = LONGEST_UID - root.size() - 1;
    if (digits.size() > room)
        digits = digits.substr(digits.size() - room);   // the lower digits vary most
    if (digits[0] == '0')
        digits[0] = '1';
    return root + "." + digits;
}

// ---- storing --------------------------------------------------------------------------

// The data set from a place on that is in front of this tag, but not far: hostile data sets are long.
static DICOM_List **list_before(const Conforming *run, unsigned short group, unsigned short element)
{
    const DICOM_List *at = run->near != nullptr ? *run->near : nullptr;
    return at != nullptr && comes_before(at, group, element) ? run->near : &run->set->tree;
}

static bool store_text(Conforming *run, const DICOM_List *wanted, unsigned short vr, const std::string &text,
                       const char *why)
{
    if (text.empty())
        return false;
    DICOM_Attribute_Add(nullptr, &run->root, list_before(run, wanted->group, wanted->element), wanted->group,
                        wanted->element, vr, 1, text.c_str());
    note_reason(run, "", wanted, why);
    return true;
}

static bool store_number(Conforming *run, const DICOM_List *wanted, int value, const char *why)
{
    if (value < 0 || value > 0xFFFF)
        return false;
    DICOM_Attribute_Add(nullptr, &run->root, list_before(run, wanted->group, wanted->element), wanted->group,
                        wanted->element, VR_US, 1, value);
    note_reason(run, "", wanted, why);
    return true;
}

static bool store_date(Conforming *run, unsigned short group, unsigned short element)
{
    Velmora_Date date = {};
    if (!Make_Velm_Date(&date, static_cast<int64_t>(run->now)))
        return false;
    DICOM_Attribute_Add(nullptr, &run->root, list_before(run, group, element), group, element, VR_DA, 1, date);
    return true;
}

static bool store_time(Conforming *run, unsigned short group, unsigned short element)
{
    Velmora_Time time = {};
    Make_Velm_Time(&time, static_cast<int64_t>(run->now));
    if (time.state != 1)
        return false;
    DICOM_Attribute_Add(nullptr, &run->root, list_before(run, group, element), group, element, VR_TM, 1, time);
    return true;
}

static std::string text_at(const Conforming *run, unsigned short group, unsigned short element)
{
    return text_of(find_in_sorted_chain(*list_before(run, group, element), group, element));
}

static int number_at(const Conforming *run, unsigned short group, unsigned short element)
{
    return short_number(find_in_sorted_chain(*list_before(run, group, element), group, element));
}

// ---- what the instance is -------------------------------------------------------------

// SOP classes whose images all have one modality, by the names of their templates (DICOM PS3.3, A).
struct Kind_Row {
    const char *module, *sop_class, *modality;
};

static const Kind_Row kind_rows[] = {
    {"CR_Image",                    "1.2.840.10008.5.1.4.1.1.1",      "CR"     },
    {"XRAY_Image",                  "1.2.840.10008.5.1.4.1.1.1.1",    "DX"     },
    {"Mammography_XRAY_Image",      "1.2.840.10008.5.1.4.1.1.1.2",    "MG"     },
    {"Intra_Oral_XRAY_Image",       "1.2.840.10008.5.1.4.1.1.1.3",    "IO"     },
    {"CT_Image",                    "1.2.840.10008.5.1.4.1.1.2",      "CT"     },
    {"Enhanced_CT_Image",           "1.2.840.10008.5.1.4.1.1.2.1",    "CT"     },
    {"US_Multi-Frame_Image",        "1.2.840.10008.5.1.4.1.1.3.1",    "US"     },
    {"MR_Image",                    "1.2.840.10008.5.1.4.1.1.4",      "MR"     },
    {"Enhanced_MR_Image",           "1.2.840.10008.5.1.4.1.1.4.1",    "MR"     },
    {"MR_Spectroscopy_Image",       "1.2.840.10008.5.1.4.1.1.4.2",    "MR"     },
    {"US_Image",                    "1.2.840.10008.5.1.4.1.1.6.1",    "US"     },
    {"SC_Image",                    "1.2.840.10008.5.1.4.1.1.7",      ""       },
    {"Grayscale_Softcopy",          "1.2.840.10008.5.1.4.1.1.11.1",   "PR"     },
    {"XRAY_Angiographic_Image",     "1.2.840.10008.5.1.4.1.1.12.1",   "XA"     },
    {"XRAY_Radiofluroscopic_Image", "1.2.840.10008.5.1.4.1.1.12.2",   "RF"     },
    {"NM_Image",                    "1.2.840.10008.5.1.4.1.1.20",     "NM"     },
    {"VL_Endoscopic_Image",         "1.2.840.10008.5.1.4.1.1.77.1.1", "ES"     },
    {"VL_Microscopic_Image",        "1.2.840.10008.5.1.4.1.1.77.1.2", "GM"     },
    {"VL_Slidecoord_Micro_Image",   "1.2.840.10008.5.1.4.1.1.77.1.3", "SM"     },
    {"VL_Photographic_Image",       "1.2.840.10008.5.1.4.1.1.77.1.4", "XC"     },
    {"PET_Image",                   "1.2.840.10008.5.1.4.1.1.128",    "PT"     },
    {"RT_Image",                    "1.2.840.10008.5.1.4.1.1.481.1",  "RTIMAGE"},
};

static const Kind_Row *kind_of(const std::string &text, const char *Kind_Row::*column)
{
    for (const Kind_Row &row : kind_rows)
        if (text == row.*column)
            return &row;
    return nullptr;
}

static const char FROM_HEAD[] = "as the head of the file says";

// The template by itself says it only where a person named it, or the modality did.
static bool make_sop_class(Conforming *run, const DICOM_List *wanted)
{
    std::string uid = text_at(run, GROUP_FILE_META, 0x0002);
    if (is_uid(uid))
        return store_text(run, wanted, VR_UI, uid, FROM_HEAD);
    const Kind_Row *kind = kind_of(run->result->module, &Kind_Row::module);
    return kind != nullptr && store_text(run, wanted, VR_UI, kind->sop_class, "that of the template");
}

static bool make_modality(Conforming *run, const DICOM_List *wanted)
{
    const Kind_Row *kind = kind_of(text_at(run, 0x0008, 0x0016), &Kind_Row::sop_class);
    return kind != nullptr && store_text(run, wanted, VR_CS, kind->modality, "that of the SOP class");
}

// A new instance was created now.
static void note_creation(Conforming *run)
{
    static const char WHY[] = "the instance got its UID now";
    DICOM_List date = {}, time = {};
    date.group = time.group = 0x0008;
    date.element = 0x0012;
    time.element = 0x0013;
    if (!text_at(run, 0x0008, 0x0012).empty() || !text_at(run, 0x0008, 0x0013).empty())
        return;
    if (store_date(run, date.group, date.element) && store_time(run, time.group, time.element)) {
        note_reason(run, "", &date, WHY);
        note_reason(run, "", &time, WHY);
    }
}

static bool make_instance_uid(Conforming *run, const DICOM_List *wanted)
{
    std::string uid = text_at(run, GROUP_FILE_META, 0x0003);
    if (is_uid(uid))
        return store_text(run, wanted, VR_UI, uid, FROM_HEAD);
    note_creation(run);
    return store_text(run, wanted, VR_UI, make_uid(run->options->uid_root), "a new UID");
}

static bool make_study_uid(Conforming *run, const DICOM_List *wanted)
{
    return store_text(run, wanted, VR_UI, make_uid(run->options->uid_root),
                      "a new UID: what else belongs to the study is not known");
}

static bool make_series_uid(Conforming *run, const DICOM_List *wanted)
{
    return store_text(run, wanted, VR_UI, make_uid(run->options->uid_root),
                      "a new UID: what else belongs to the series is not known");
}

// The content was made when the instance was, as far as that is known, or is made now.
static bool make_content_date(Conforming *run, const DICOM_List *wanted)
{
    std::string date = text_at(run, 0x0008, 0x0012);
    if (date.size() == 8)
        return store_text(run, wanted, VR_LO, date, "the date of the instance's creation");
    note_reason(run, "", wanted, "today");
    return store_date(run, wanted->group, wanted->element);
}

static bool make_content_time(Conforming *run, const DICOM_List *wanted)
{
    std::string time = text_at(run, 0x0008, 0x0013);
    if (!time.empty() && text_at(run, 0x0008, 0x0012).size() == 8)
        return store_text(run, wanted, VR_LO, time, "the time of the instance's creation");
    note_reason(run, "", wanted, "now");
    return store_time(run, wanted->group, wanted->element);
}

// ---- what the pixel data is -----------------------------------------------------------

static const char FROM_PIXELS[] = "as the pixel data says";

static bool make_rows(Conforming *run, const DICOM_List *wanted)
{
    return store_number(run, wanted, pixel_facts(run).rows, FROM_PIXELS);
}

static bool make_columns(Conforming *run, const DICOM_List *wanted)
{
    return store_number(run, wanted, pixel_facts(run).columns, FROM_PIXELS);
}

static bool make_samples(Conforming *run, const DICOM_List *wanted)
{
    return store_number(run, wanted, pixel_facts(run).samples, FROM_PIXELS);
}

static bool make_bits_allocated(Conforming *run, const DICOM_List *wanted)
{
    return store_number(run, wanted, pixel_facts(run).bits_allocated, FROM_PIXELS);
}

static bool make_bits_stored(Conforming *run, const DICOM_List *wanted)
{
    int high = number_at(run, 0x0028, 0x0102);
    if (pixel_facts(run).bits_stored < 0 && high >= 0)
        return store_number(run, wanted, high + 1, "one more than the high bit");
    return store_number(run, wanted, pixel_facts(run).bits_stored, FROM_PIXELS);
}

// DICOM PS3.5, 8.1.1.
static bool make_high_bit(Conforming *run, const DICOM_List *wanted)
{
    int stored = number_at(run, 0x0028, 0x0101);
    return stored > 0 && store_number(run, wanted, stored - 1, "one less than the bits stored");
}

static bool make_representation(Conforming *run, const DICOM_List *wanted)
{
    return store_number(run, wanted, pixel_facts(run).is_signed, FROM_PIXELS);
}

static bool make_planar(Conforming *run, const DICOM_List *wanted)
{
    bool is_told = pixel_facts(run).is_interleaved && number_at(run, 0x0028, 0x0002) > 1;
    return is_told && store_number(run, wanted, 0, FROM_PIXELS);
}

static bool make_photometric(Conforming *run, const DICOM_List *wanted)
{
    static const unsigned short tables[] = {0x1101, 0x1102, 0x1103};
    for (unsigned short table : tables) {
        const DICOM_List *node = find_in_sorted_chain(*list_before(run, 0x0028, table), 0x0028, table);
        if (node == nullptr || node->size != 6)
            return false;
    }
    return number_at(run, 0x0028, 0x0002) == 1 &&
           store_text(run, wanted, VR_CS, "PALETTE COLOR", "its colour tables are there");
}

static bool make_frames(Conforming *run, const DICOM_List *wanted)
{
    int frames = pixel_facts(run).frames;
    return frames > 0 && store_text(run, wanted, VR_CS, std::to_string(frames), FROM_PIXELS);
}

// ---- what is not called for -----------------------------------------------------------

static bool is_there(const Conforming *run, unsigned short group, unsigned short element)
{
    const DICOM_List *node = find_in_sorted_chain(*list_before(run, group, element), group, element);
    return node != nullptr && (node->size > 0 || has_items(node));
}

// DICOM PS3.3, C.7.3.1.
static bool needs_position(Conforming *run)
{
    const Kind_Row *kind = kind_of(text_at(run, 0x0008, 0x0016), &Kind_Row::sop_class);
    bool is_ct_or_mr = kind != nullptr && (strcmp(kind->modality, "CT") == 0 || strcmp(kind->modality, "MR") == 0);
    return is_ct_or_mr && !is_there(run, 0x0054, 0x0410);
}

// DICOM PS3.3, C.7.6.1.
static bool needs_orientation(Conforming *run)
{
    return !is_there(run, 0x0020, 0x0032) || !is_there(run, 0x0020, 0x0037);
}

// Attributes of type 2C that are common to many kinds, and when they are called for.
struct Condition {
    unsigned short group, element;
    bool (*is_called_for)(Conforming *run);
};

static const Condition conditions[] = {
    {0x0018, 0x5100, needs_position   },
    {0x0020, 0x0020, needs_orientation},
};

static bool is_called_for(Conforming *run, const DICOM_List *wanted)
{
    for (const Condition &condition : conditions)
        if (condition.group == wanted->group && condition.element == wanted->element)
            return wanted->type != TYPE_2C || condition.is_called_for(run);
    return true;
}

// ---- the table ------------------------------------------------------------------------

struct Maker {
    unsigned short group, element, vr;
    bool also_conditional;   // what it makes is needed whenever it can be made
    bool (*make)(Conforming *run, const DICOM_List *wanted);
};

// In the order of tags, in which they are asked for.
static const Maker makers[] = {
    {0x0008, 0x0016, VR_UI, false, make_sop_class     },
    {0x0008, 0x0018, VR_UI, false, make_instance_uid  },
    {0x0008, 0x0023, VR_DA, false, make_content_date  },
    {0x0008, 0x0033, VR_TM, false, make_content_time  },
    {0x0008, 0x0060, VR_CS, false, make_modality      },
    {0x0020, 0x000D, VR_UI, false, make_study_uid     },
    {0x0020, 0x000E, VR_UI, false, make_series_uid    },
    {0x0028, 0x0002, VR_US, false, make_samples       },
    {0x0028, 0x0004, VR_CS, false, make_photometric   },
    {0x0028, 0x0006, VR_US, true,  make_planar        },
    {0x0028, 0x0008, VR_IS, false, make_frames        },
    {0x0028, 0x0010, VR_US, false, make_rows          },
    {0x0028, 0x0011, VR_US, false, make_columns       },
    {0x0028, 0x0100, VR_US, false, make_bits_allocated},
    {0x0028, 0x0101, VR_US, false, make_bits_stored   },
    {0x0028, 0x0102, VR_US, false, make_high_bit      },
    {0x0028, 0x0103, VR_US, false, make_representation},
    {0x0070, 0x0082, VR_DA, false, make_content_date  },
    {0x0070, 0x0083, VR_TM, false, make_content_time  },
};

// The library takes any node for an answer: the template's own one says that nothing is to be added.
static DICOM_List *make_value(HWND, DICOM_Root *root, DICOM_List **target, DICOM_List *wanted, void *user)
{
    if (user == nullptr || user != current || root->Sequence_Depth > 0)
        return nullptr;
    if (!is_called_for(current, wanted))
        return wanted;
    for (const Maker &maker : makers) {
        if (maker.group != wanted->group || maker.element != wanted->element)
            continue;
        bool is_wanted = wanted->type == TYPE_1 || (maker.also_conditional && wanted->type == TYPE_1C);
        DICOM_List *node = find_in_sorted_chain(*target, wanted->group, wanted->element);
        if (!is_wanted || (node != nullptr && node->size > 0) || !maker.make(current, wanted))
            return nullptr;
        node = find_in_sorted_chain(*target, wanted->group, wanted->element);
        if (node != nullptr)
            node->vr_explicit = maker.vr;
        return node;
    }
    return nullptr;
}

bool register_makers()
{
    static const unsigned short groups[] = {0x0008, 0x0018, 0x0020, 0x0028, 0x0070};
    bool done = true;
    for (unsigned short group : groups)
        done &= DICOM_Module_List_Group_Grow(group, make_value) != 0;
    return done;
}

}   // namespace velmora_host
