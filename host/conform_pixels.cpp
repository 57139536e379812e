// What pixel data tells of itself: the header of a compressed image, the number of frames, and what must fill the
// length of native data. Only what follows without doubt.
#include "host/conform_internal.h"

namespace velmora_host
{

static unsigned int big_16(const unsigned char *at)
{
    return static_cast<unsigned int>(at[0] << 8 | at[1]);
}

static unsigned int big_32(const unsigned char *at)
{
    return big_16(at) << 16 | big_16(at + 2);
}

struct Fragment {
    const unsigned char *bytes;
    int size;
};

// ---- headers of compressed images -----------------------------------------------------

static bool is_frame_header(int marker)
{
    if (marker == 0xF7)   // JPEG-LS
        return true;
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

static void set_precision(Pixel_Facts *facts, int bits)
{
    facts->bits_stored = bits;
    facts->bits_allocated = bits <= 8 ? 8 : bits <= 16 ? 16 : 32;
}

// Markers up to the frame header of JPEG (ISO/IEC 10918-1, B.2.2) or JPEG-LS.
static bool read_jpeg(const Fragment &f, Pixel_Facts *facts)
{
    static const int FRAME_HEADER = 10;   // with marker and length, up to the number of components
    int at = 2;
    if (f.size < 4 || f.bytes[0] != 0xFF || f.bytes[1] != 0xD8)
        return false;
    while (f.size - at >= 4 && f.bytes[at] == 0xFF) {
        int marker = f.bytes[at + 1];
        if (marker == 0xFF) {   // a fill byte
            at++;
            continue;
        }
        if (marker == 0xDA || marker == 0xD9)
            return false;
        if (is_frame_header(marker) && f.size - at >= FRAME_HEADER) {
            set_precision(facts, f.bytes[at + 4]);
            facts->rows = static_cast<int>(big_16(f.bytes + at + 5));
            facts->columns = static_cast<int>(big_16(f.bytes + at + 7));
            facts->samples = f.bytes[at + 9];
            return true;
        }
        int length = static_cast<int>(big_16(f.bytes + at + 2));
        if (length < 2 || length > f.size - at - 2)
            return false;
        at += 2 + length;
    }
    return false;
}

// The SIZ marker, which comes first in JPEG 2000 (ISO/IEC 15444-1, A.5.1).
static bool read_jpeg_2000(const Fragment &f, Pixel_Facts *facts)
{
    static const unsigned char start[] = {0xFF, 0x4F, 0xFF, 0x51};
    if (f.size < 43 || memcmp(f.bytes, start, sizeof start) != 0)
        return false;
    unsigned int columns = big_32(f.bytes + 8) - big_32(f.bytes + 16);
    unsigned int rows = big_32(f.bytes + 12) - big_32(f.bytes + 20);
    int depth = f.bytes[42];   // of the first component: bits less one, and the sign
    facts->columns = columns <= 0xFFFF ? static_cast<int>(columns) : -1;
    facts->rows = rows <= 0xFFFF ? static_cast<int>(rows) : -1;
    facts->samples = static_cast<int>(big_16(f.bytes + 40));
    set_precision(facts, (depth & 0x7F) + 1);
    facts->is_signed = depth >> 7;
    return true;
}

// ---- encapsulated data ----------------------------------------------------------------

static Fragment fragment_of(const Data_Set &set, const DICOM_List *item)
{
    int size = 0;
    const char *bytes = value_of(set, item, &size);
    return {reinterpret_cast<const unsigned char *>(bytes), bytes != nullptr ? size : 0};
}

static bool is_image_start(const Fragment &f)
{
    return f.size >= 4 && f.bytes[0] == 0xFF && (f.bytes[1] == 0xD8 || (f.bytes[1] == 0x4F && f.bytes[2] == 0xFF));
}

// By the offset table if it is there, else by the fragments that an image begins in.
static int count_frames(const Data_Set &set, const DICOM_List *pixels)
{
    int by_table = fragment_of(set, pixels->item[0]).size / 4, by_start = 0;
    for (int i = 1; i < pixels->nb_item && pixels->item[i] != nullptr; i++)
        by_start += is_image_start(fragment_of(set, pixels->item[i]));
    int frames = by_table > 0 ? by_table : by_start;
    return frames > 0 ? frames : -1;
}

static void read_encapsulated(const Data_Set &set, const DICOM_List *pixels, Pixel_Facts *facts)
{
    facts->frames = count_frames(set, pixels);
    for (int i = 1; i < pixels->nb_item && pixels->item[i] != nullptr; i++) {
        Fragment f = fragment_of(set, pixels->item[i]);
        if (f.size == 0)
            continue;
        facts->is_interleaved = read_jpeg(f, facts) || read_jpeg_2000(f, facts);
        break;
    }
    if (facts->rows == 0)   // told at the end of the image
        facts->rows = -1;
}

// ---- native data ----------------------------------------------------------------------

static std::string photometric(const Data_Set &set)
{
    return text_of(find_in_sorted_chain(set.tree, 0x0028, 0x0004));
}

// DICOM PS3.3, C.7.6.3.1.2.
static int samples_of(const std::string &photometric)
{
    if (photometric == "MONOCHROME1" || photometric == "MONOCHROME2" || photometric == "PALETTE COLOR")
        return 1;
    return photometric == "RGB" || photometric.compare(0, 4, "YBR_") == 0 ? 3 : -1;
}

// Where chrominance is sampled less often, samples and pixels do not make the length.
static bool is_subsampled(const std::string &photometric)
{
    return photometric.find("_42") != std::string::npos;
}

int short_number(const DICOM_List *node)
{
    if (node == nullptr || node->data == nullptr || node->size < 2)
        return -1;
    unsigned short vr = true_vr(node);
    return vr == VR_US || vr == VR_SS || vr == VR_UN ? get_16(0, node->data) : -1;
}

static int number_at(const Data_Set &set, unsigned short element)
{
    return short_number(find_in_sorted_chain(set.tree, 0x0028, element));
}

// Bits of a sample and number of frames, if the one that is missing makes the length come out.
static void read_native(const Data_Set &set, int size, Pixel_Facts *facts)
{
    static const int usual_bits[] = {8, 16, 32};
    int rows = number_at(set, 0x0010), columns = number_at(set, 0x0011), allocated = number_at(set, 0x0100);
    int samples = number_at(set, 0x0002) > 0 ? number_at(set, 0x0002) : samples_of(photometric(set));
    int frames = atoi(text_of(find_in_sorted_chain(set.tree, 0x0028, 0x0008)).c_str());
    if (rows <= 0 || columns <= 0 || samples <= 0 || is_subsampled(photometric(set)))
        return;
    int64_t pixels = int64_t(rows) * columns * samples;
    if (pixels > size)
        return;
    int64_t all = pixels * (frames > 0 ? frames : 1);
    for (int bits : usual_bits) {
        int64_t bytes = all <= size ? all * bits / 8 : -1;
        if (allocated < 0 && (bytes == size || bytes + 1 == size))
            facts->bits_allocated = bits;
    }
    int64_t frame = pixels * allocated / 8;
    bool is_whole = allocated >= 8 && allocated % 8 == 0 && size >= frame && (size % frame == 0 || size % frame == 1);
    if (is_whole && size / frame <= INT32_MAX)
        facts->frames = static_cast<int>(size / frame);
}

// ---- the whole ------------------------------------------------------------------------

// Values of pixels in an explicit stream have one VR of two, by their sign.
static int sign_of_values(const Data_Set &set)
{
    static const unsigned short elements[] = {0x0106, 0x0107, 0x0120};
    for (unsigned short element : elements) {
        const DICOM_List *node = find_in_sorted_chain(set.tree, 0x0028, element);
        if (node != nullptr && node->size > 0 && (node->vr_explicit == VR_US || node->vr_explicit == VR_SS))
            return node->vr_explicit == VR_SS;
    }
    return -1;
}

static void look_up(const Data_Set &set, Pixel_Facts *facts)
{
    const DICOM_List *pixels = find_in_sorted_chain(set.tree, 0x7FE0, 0x0010);
    if (pixels != nullptr && has_items(pixels))
        read_encapsulated(set, pixels, facts);
    else if (pixels != nullptr && pixels->size > 0)
        read_native(set, pixels->size, facts);
    int samples = samples_of(photometric(set));
    if (facts->samples < 0)
        facts->samples = samples;
    if (facts->is_signed < 0)
        facts->is_signed = samples == 3 || photometric(set) == "PALETTE COLOR" ? 0 : sign_of_values(set);
}

const Pixel_Facts &pixel_facts(Conforming *run)
{
    if (!run->has_pixel_facts)
        look_up(*run->set, &run->pixel_facts);
    run->has_pixel_facts = true;
    return run->pixel_facts;
}

}   // namespace velmora_host
