// The constant parts of an HTML page: its style, its script, and what stands around the sections. A page loads nothing,
// and its policy lets no other script run than this one: see STYLE_HASH and SCRIPT_HASH.
#ifndef VELMORA_PROGRAM_HTML_PAGE_H
#define VELMORA_PROGRAM_HTML_PAGE_H

extern const char PAGE_STYLE[];
extern const char PAGE_SCRIPT[];

// SHA-256 of the two, in base 64, as a Content-Security-Policy names them. A test compares them.
extern const char STYLE_HASH[];
extern const char SCRIPT_HASH[];

// The tools above the sections, which the script brings to life, and the legend.
extern const char PAGE_TOOLS[];
extern const char PAGE_LEGEND[];

#endif
