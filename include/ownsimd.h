/* ownsimd.h: the packed vocabulary. It and the files of simd/, of which it consists, are the only ones that name an
 * instruction set.
 *
 * OwnVec<T> is a vector of samples, 16, 32 or 64 bytes wide by the processor variant. The words are written once in the
 * compiler's vector types, which is the backend of every processor; where a processor has an instruction that compilers
 * don't find from that form, the word has a second body under that processor's macro. Each word says what a lane becomes;
 * all bodies of a word give the same lanes. Integer arithmetic wraps, unless a word says that it saturates. */
#ifndef OWNSIMD_H
#define OWNSIMD_H

#include "simd/vector.h"
#include "simd/convert.h"
#include "simd/channels.h"
#include "simd/sums.h"
#include "simd/bits.h"
#include "simd/lanes.h"
#include "simd/pick.h"
#include "simd/runs.h"

#endif
