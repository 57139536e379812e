// Names for the tags, VRs, types and flag bits that the library speaks of. The library does not need it to be included;
// a host may like it. Plain constants, nothing is exported.
#ifndef VELMORA_DICOM_CONSTANTS_H
#define VELMORA_DICOM_CONSTANTS_H

// Packs the two letters of a VR, of an attribute type or of a modality: the first one stands in the high byte.
constexpr unsigned short pack_letters(char first, char second)
{
    return static_cast<unsigned short>(static_cast<unsigned char>(first) << 8 | static_cast<unsigned char>(second));
}

// The value representations of DICOM PS3.5, 6.2.
enum : unsigned short {
    VR_NONE = 0,
    VR_AE = pack_letters('A', 'E'), VR_AS = pack_letters('A', 'S'), VR_AT = pack_letters('A', 'T'),
    VR_CS = pack_letters('C', 'S'), VR_DA = pack_letters('D', 'A'), VR_DS = pack_letters('D', 'S'),
    VR_DT = pack_letters('D', 'T'), VR_FD = pack_letters('F', 'D'), VR_FL = pack_letters('F', 'L'),
    VR_IS = pack_letters('I', 'S'), VR_LO = pack_letters('L', 'O'), VR_LT = pack_letters('L', 'T'),
    VR_OB = pack_letters('O', 'B'), VR_OD = pack_letters('O', 'D'), VR_OF = pack_letters('O', 'F'),
    VR_OL = pack_letters('O', 'L'), VR_OV = pack_letters('O', 'V'), VR_OW = pack_letters('O', 'W'),
    VR_PN = pack_letters('P', 'N'), VR_SH = pack_letters('S', 'H'), VR_SL = pack_letters('S', 'L'),
    VR_SQ = pack_letters('S', 'Q'), VR_SS = pack_letters('S', 'S'), VR_ST = pack_letters('S', 'T'),
    VR_SV = pack_letters('S', 'V'), VR_TM = pack_letters('T', 'M'), VR_UC = pack_letters('U', 'C'),
    VR_UI = pack_letters('U', 'I'), VR_UL = pack_letters('U', 'L'), VR_UN = pack_letters('U', 'N'),
    VR_UR = pack_letters('U', 'R'), VR_US = pack_letters('U', 'S'), VR_UT = pack_letters('U', 'T'),
    VR_UV = pack_letters('U', 'V'),
    // Words of this library beside the standard's.
    VR_RT = pack_letters('R', 'T'),               // a dictionary row that names no VR
    VR_OX = pack_letters('O', 'X'),               // a stream VR that is turned into OW
    VR_UH = pack_letters('U', 'H'),               // an unsigned short of older streams
    VR_ITEM = pack_letters('I', '-'),             // the item tag
    VR_DELIMITATION = pack_letters('I', 'a'),     // the delimitation tags
};

// What a module asks for of an attribute (DICOM PS3.5, 7.4).
enum : unsigned short {
    TYPE_NONE = 0,
    TYPE_1 = pack_letters('1', ' '), TYPE_1C = pack_letters('1', 'C'), TYPE_2 = pack_letters('2', ' '),
    TYPE_2C = pack_letters('2', 'C'), TYPE_3 = pack_letters('3', ' '),
};

// The flag word of an attribute.
enum : unsigned short {
    ORIGIN_MASK = 0x000F,
    ORIGIN_DICOM = 0x0001,          // of a data set that the host read
    ORIGIN_VELM = 0x0002,           // made by DICOM_Attribute_Add
    ORIGIN_MODULE = 0x0004,         // of a module definition line
    FLAG_SYNTAX_ERROR = 0x0010,     // a fault was found in value or VR
    FLAG_RETIRED = 0x0020,          // the dictionary row is retired
    FLAG_PRIVATE = 0x0040,          // odd group
    FLAG_USED = 0x0080,             // the host's: used by its converter
    FLAG_DELETED = 0x0100,          // stays until DICOM_Attribute_Remove takes it
    FLAG_TO_DELETE = 0x0200,        // module line with "-": goes from the target
    FLAG_GUESSED_VR = 0x0400,       // vr is a guess
    FLAG_INVALID = 0x0800,          // the value failed its rules
    FLAG_FORCED = 0x1000,           // module line with "!"
    FLAG_DEFAULT = 0x2000,          // module line with "="
    FLAG_APPEND = 0x8000,           // module line with "+"
};

// The filter of DICOM_Attribute_Remove.
enum : unsigned char {
    REMOVE_GROUP_LENGTH = 0x01, REMOVE_DELETED = 0x02, REMOVE_RETIRED = 0x04, REMOVE_DELIMITERS = 0x08,
    REMOVE_PRIVATE = 0x10,
};

// The syntax byte.
enum : unsigned char {
    SYNTAX_IMPLICIT = 0, SYNTAX_BIG_ENDIAN = 1, SYNTAX_SWAPPED_WORDS = 2, SYNTAX_EXPLICIT = 8,
};

enum : unsigned short {
    GROUP_FILE_META = 0x0002, GROUP_ITEM = 0xFFFE, ELEMENT_ITEM = 0xE000, ELEMENT_ITEM_END = 0xE00D,
    ELEMENT_SEQUENCE_END = 0xE0DD, ANY_TAG_NUMBER = 0xFFFF,
};

enum { UNDEFINED_LENGTH = -1, SMALLEST_UNREAD_VALUE = 1025, MAX_SEQUENCE_DEPTH = 9 };

#endif
