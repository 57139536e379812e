#include "tests/host_saved.h"

#include <algorithm>

using namespace velmora_host;

Bytes behind_head(const Bytes &file)
{
    if (file.size() < 144)
        return "";
    size_t length = 0;
    for (int i = 3; i >= 0; i--)
        length = length << 8 | static_cast<unsigned char>(file[static_cast<size_t>(140 + i)]);
    return file.size() >= 144 + length ? file.substr(144 + length) : "";
}

Saved save(const Bytes &bytes, unsigned char from, const Save_Options &options)
{
    Saved saved = {};
    Loaded loaded(bytes, from);
    if (loaded.result != LOADED) {
        saved.error = "not loaded: " + loaded.error;
        return saved;
    }
    Reports said;
    saved.done = save_to_memory(&loaded.set, options, &saved.bytes, &saved.error);
    saved.body = behind_head(saved.bytes);
    saved.warnings = said.warnings();
    return saved;
}

Saved save_as(const Bytes &bytes, unsigned char from, unsigned char to)
{
    Save_Options options;
    options.mode = to;
    return save(bytes, from, options);
}

Bytes in_order(const Bytes &value, int unit, int syntax)
{
    Bytes out = value;
    if ((syntax & SYNTAX_BIG_ENDIAN) != 0)
        for (auto at = out.begin(); out.end() - at >= unit; at += unit)
            std::reverse(at, at + unit);
    return out;
}
