// Where this checkout stands, and what was built in it. The build tells it to checkout.cpp alone, so that a cache of the
// compiler serves all other tests in any checkout.
#ifndef VELMORA_TESTS_CHECKOUT_H
#define VELMORA_TESTS_CHECKOUT_H

#include <string>
#include <vector>

// The program as tests start it, and the library that is preloaded into it; empty where it is not built.
extern const char *const VELMORA_PROGRAM, *const VELMORA_SHIM;

std::string source_path(const std::string &below);   // "docs/guide.md" below the top of the sources

// Real files, in the order of their names: those of the folder that VELMORA_CORPUS names, or of ../shared/corpus.
std::vector<std::string> corpus_files();

std::string bytes_of(const std::string &path);   // the whole file; empty where it cannot be read

#endif
