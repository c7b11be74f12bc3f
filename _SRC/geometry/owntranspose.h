/* owntranspose.h: rows become columns. */
#ifndef OWNTRANSPOSE_H
#define OWNTRANSPOSE_H

#include "own.h"

/* Pixel (x, y) of dst becomes pixel (y, x) of src, whose width is dst's height and whose height is its width. Of views
 * without bits the channels given take part; rows may run upward. */
void ownTranspose(const OwnView& src, const OwnView& dst, const OwnChannels channels[2]);

#endif
