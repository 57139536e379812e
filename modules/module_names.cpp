// The module that fits a data set: by its modality and number of frames, or by its SOP class.
#include "modules/modules_internal.h"

static const char OTHER_IMAGE[] = "OT_Image";

struct Modality_Row {
    unsigned short code;
    const char *name;
    const char *name_with_frames;   // for more than one frame
};

static const Modality_Row modality_rows[] = {
    {pack_letters('C', 'R'), "CR_Image",  "CR_Image"            },
    {pack_letters('C', 'T'), "CT_Image",  "Enhanced_CT_Image"   },
    {pack_letters('M', 'R'), "MR_Image",  "Enhanced_MR_Image"   },
    {pack_letters('N', 'M'), "NM_Image",  "NM_Image"            },
    {pack_letters('O', 'T'), OTHER_IMAGE, OTHER_IMAGE           },
    {pack_letters('P', 'T'), "PET_Image", "PET_Image"           },
    {pack_letters('S', 'C'), "SC_Image",  "SC_Multi-Frame_Image"},
    {pack_letters('U', 'S'), "US_Image",  "US_Multi-Frame_Image"},
};

struct SOP_Class_Row {
    const char *uid;
    const char *name;
};

static const SOP_Class_Row sop_class_rows[] = {
    {"1.2.840.10008.5.1.1.1",          "SOP BASIC_FILM_SESSION"     },
    {"1.2.840.10008.5.1.1.2",          "SOP BASIC_FILM_BOX"         },
    {"1.2.840.10008.5.1.1.4",          "Basic_Grayscale_Image_Box"  },
    {"1.2.840.10008.5.1.1.4.1",        "Basic_Color_Image_Box"      },
    {"1.2.840.10008.5.1.1.15",         "Basic_Annotation_Box"       },
    {"1.2.840.10008.5.1.1.22",         "VOI_LUT_Box"                },
    {"1.2.840.10008.5.1.1.23",         "Presentation_LUT"           },
    {"1.2.840.10008.5.1.4.1.1.1",      "CR_Image"                   },
    {"1.2.840.10008.5.1.4.1.1.1.1",    "XRAY_Image"                 },
    {"1.2.840.10008.5.1.4.1.1.1.2",    "Mammography_XRAY_Image"     },
    {"1.2.840.10008.5.1.4.1.1.1.3",    "Intra_Oral_XRAY_Image"      },
    {"1.2.840.10008.5.1.4.1.1.2",      "CT_Image"                   },
    {"1.2.840.10008.5.1.4.1.1.2.1",    "Enhanced_CT_Image"          },
    {"1.2.840.10008.5.1.4.1.1.3.1",    "US_Multi-Frame_Image"       },
    {"1.2.840.10008.5.1.4.1.1.4",      "MR_Image"                   },
    {"1.2.840.10008.5.1.4.1.1.4.1",    "Enhanced_MR_Image"          },
    {"1.2.840.10008.5.1.4.1.1.4.2",    "MR_Spectroscopy_Image"      },
    {"1.2.840.10008.5.1.4.1.1.6.1",    "US_Image"                   },
    {"1.2.840.10008.5.1.4.1.1.7",      "SC_Image"                   },
    {"1.2.840.10008.5.1.4.1.1.11.1",   "Grayscale_Softcopy"         },
    {"1.2.840.10008.5.1.4.1.1.12.1",   "XRAY_Angiographic_Image"    },
    {"1.2.840.10008.5.1.4.1.1.12.2",   "XRAY_Radiofluroscopic_Image"},
    {"1.2.840.10008.5.1.4.1.1.20",     "NM_Image"                   },
    {"1.2.840.10008.5.1.4.1.1.77.1.1", "VL_Endoscopic_Image"        },
    {"1.2.840.10008.5.1.4.1.1.77.1.2", "VL_Microscopic_Image"       },
    {"1.2.840.10008.5.1.4.1.1.77.1.3", "VL_Slidecoord_Micro_Image"  },
    {"1.2.840.10008.5.1.4.1.1.77.1.4", "VL_Photographic_Image"      },
    {"1.2.840.10008.5.1.4.1.1.128",    "PET_Image"                  },
    {"1.2.840.10008.5.1.4.1.1.481.1",  "RT_Image"                   },
};

const char *DICOM_Module_Name(HWND, int modality, int frames)
{
    unsigned short code = DICOM_Modality != 0 ? DICOM_Modality : static_cast<unsigned short>(modality);
    for (const Modality_Row &row : modality_rows)
        if (row.code == code)
            return frames > 1 ? row.name_with_frames : row.name;
    if (first_letter(code) == '\0' || second_letter(code) == '\0')
        return OTHER_IMAGE;

    static char letters[3];   // the result, until the next call
    snprintf(letters, sizeof letters, "%c%c", first_letter(code), second_letter(code));
    return letters;
}

const char *DICOM_Module_Name(HWND window, DICOM_List *list)
{
    DICOM_Root root;
    DICOM_Attribute_Sequence_Reset(window, &root);
    DICOM_List *tag = DICOM_Attribute_Get(window, &root, list, 0x0008, 0x0016, 0);
    char **uids = tag != nullptr ? NEMA_Value_Str(window, tag, VR_UI) : nullptr;
    if (uids == nullptr)
        return OTHER_IMAGE;
    for (const SOP_Class_Row &row : sop_class_rows)
        if (strcmp(row.uid, uids[0]) == 0)
            return row.name;
    return OTHER_IMAGE;
}
