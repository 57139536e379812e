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

// One sequence of items, each of ten elements, or the first of them, and six sequences of one item with one element: 22
// elements an item, or 17 with five.
Stream items_with_sequences(int items, int elements = 10);

// Number of elements of a stream as the element reader counts them, items and delimiters included.
int count_elements(const Stream &stream);

// A preamble and group 0002 in front of a stream.
Stream with_head(const Stream &stream);

// The header alone of pixel data of so many bytes.
Stream pixel_header(unsigned int size);

// A text that fills a stream up to a size.
Stream filler(int size);

#endif
