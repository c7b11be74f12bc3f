/* ownkernel.h: the test of a kernel record, which stands under this name in the texts of refusals. */
#ifndef OWNKERNEL_H
#define OWNKERNEL_H

#include "own.h"

typedef VekConvKernel OwnConvKernel;
typedef VekConvKernelFP OwnConvKernelFP;

template <class Kernel> static inline bool ownBadKernel(const Kernel* kernel)
{
    return kernel->nRows < 1 || kernel->nCols < 1 || kernel->anchorX < 0 || kernel->anchorY < 0 ||
           kernel->nRows <= kernel->anchorY || kernel->nCols <= kernel->anchorX || !kernel->values;
}

#endif
