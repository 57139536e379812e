// The streams that the benchmarks work on, made in memory at a stated size. All are explicit VR little-endian without a
// head.
#ifndef VELMORA_BENCH_INPUTS_H
#define VELMORA_BENCH_INPUTS_H

#include <string>

using Stream = std::string;

// A CT-like data set of 150 elements: texts, numbers, a few short sequences, no pixel data.
Stream ct_like_set();

// Elements of one level with rising tags, a text of eight bytes each.
Stream flat_set(int elements);

// One sequence of items, with ten elements in each. By delimiters, or by lengths.
Stream items_of_ten(int items, bool by_length);

// One sequence of items, each of ten elements and six short sequences: 17 elements an item, delimiters aside.
Stream items_with_sequences(int items);

// Number of elements of a stream as the element reader counts them, items and delimiters included.
int count_elements(const Stream &stream);

#endif
