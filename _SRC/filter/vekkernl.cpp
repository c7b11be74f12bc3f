/* vekkernl: kernel records. A kernel is stored rotated by 180 degrees, its anchor too, so that convolution runs forward
 * over the stored coefficients: stored index i holds given index nCols nRows - 1 - i. */
#include "ownkernel.h"

/* ---- Creating ---------------------------------------------------------------------------------------------------- */

/* out[i] = in[n - 1 - i], in the wider or narrower type. */
template <class D, class S> static void ownRotate(D* out, const S* in, int64_t n)
{
    for (int64_t i = 0; i < n; ++i) out[i] = (D)in[n - 1 - i];
}

/* A block of n coefficients of four bytes, null when there is no memory for so many. */
template <class T> static T* ownCoefficients(int64_t n)
{
    static_assert(sizeof(T) == 4);
    return n > INT32_MAX / 4 ? nullptr : (T*)vekMalloc((int32_t)n * 4);
}

template <class Kernel, class T>
static Kernel* ownCreateKernel(const OwnFace& face, int32_t nCols, int32_t nRows, int32_t anchorX, int32_t anchorY,
                               const T* values)
{
    OWN_REFUSE_IF((values == 0), nullptr);
    OWN_REFUSE_IF((nRows<=0 || nCols<=0), nullptr);
    OWN_REFUSE_IF((anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX), nullptr);
    typedef std::remove_reference_t<decltype(*Kernel::values)> Value;
    const int64_t n = (int64_t)nCols * nRows;
    Kernel* kernel = (Kernel*)vekMalloc((int32_t)sizeof(Kernel));
    Value* stored = kernel ? ownCoefficients<Value>(n) : nullptr;
    if (!stored) vekFree(kernel);
    OWN_FAIL_IF(!stored, VEK_StatusNoMemory, "Allocation failure", nullptr);
    *kernel = {};
    kernel->nCols = nCols;
    kernel->nRows = nRows;
    kernel->anchorX = nCols - 1 - anchorX;
    kernel->anchorY = nRows - 1 - anchorY;
    kernel->values = stored;
    ownRotate(stored, values, n);
    return kernel;
}

VekConvKernel* vekCreateConvKernel(int32_t nCols, int32_t nRows, int32_t anchorX, int32_t anchorY,
                                   const int32_t* values, int32_t nShiftR)
{
    OWN_FACE("vekCreateConvKernel", "vekkernl");
    VekConvKernel* kernel = ownCreateKernel<VekConvKernel>(face, nCols, nRows, anchorX, anchorY, values);
    if (kernel) kernel->nShiftR = nShiftR;
    return kernel;
}

VekConvKernel* vekCreateConvKernelChar(int32_t nCols, int32_t nRows, int32_t anchorX, int32_t anchorY,
                                       const int8_t* values, int32_t nShiftR)
{
    OWN_FACE("vekCreateConvKernelChar", "vekkernl");
    VekConvKernel* kernel = ownCreateKernel<VekConvKernel>(face, nCols, nRows, anchorX, anchorY, values);
    if (kernel) kernel->nShiftR = nShiftR;
    return kernel;
}

VekConvKernelFP* vekCreateConvKernelFP(int32_t nCols, int32_t nRows, int32_t anchorX, int32_t anchorY,
                                       const float* values)
{
    OWN_FACE("vekCreateConvKernelFP", "vekkernl");
    return ownCreateKernel<VekConvKernelFP>(face, nCols, nRows, anchorX, anchorY, values);
}

/* ---- Reading back ------------------------------------------------------------------------------------------------ */

/* Where the read-back goes; nShiftR is null for a kernel without one. */
template <class T> struct OwnReadBack {
    int32_t *nCols, *nRows, *anchorX, *anchorY;
    T** values;
    int32_t* nShiftR;
    bool hasShift;
};

/* All tests, in order. A stored failure ends them, whatever left it there. */
template <class Kernel, class T>
static bool ownMayRead(const OwnFace& face, const Kernel* kernel, const OwnReadBack<T>& out)
{
    const auto [nCols, nRows, anchorX, anchorY, values, nShiftR, hasShift] = out;
    OWN_REFUSE_IF(kernel==0, false);
    OWN_REFUSE_TEXT_IF(ownBadKernel(kernel), "ownBadKernel((OwnConvKernel*)kernel)", false);
    if (!nRows) ownFail(face, VEK_StatusBadArg, "nRows==0", __LINE__);
    if (!nCols) ownFail(face, VEK_StatusBadArg, "nCols==0", __LINE__);
    if (vekGetErrStatus() < 0) return false;
    if (!anchorX) ownFail(face, VEK_StatusBadArg, "anchorX==0", __LINE__);
    if (!anchorY) ownFail(face, VEK_StatusBadArg, "anchorY==0", __LINE__);
    if (vekGetErrStatus() < 0) return false;
    OWN_REFUSE_IF(values==0, false);
    OWN_REFUSE_TEXT_IF(hasShift && nShiftR == nullptr, "nShiftR==0", false);
    return true;
}

template <class Kernel, class T>
static void ownReadKernel(const OwnFace& face, const Kernel* kernel, const OwnReadBack<T>& out)
{
    if (!ownMayRead(face, kernel, out)) return;
    /* A reporter may have cleared the status of a missing place. */
    if (out.nCols) *out.nCols = kernel->nCols;
    if (out.nRows) *out.nRows = kernel->nRows;
    if (out.anchorX) *out.anchorX = kernel->nCols - 1 - kernel->anchorX;
    if (out.anchorY) *out.anchorY = kernel->nRows - 1 - kernel->anchorY;
    if constexpr (std::is_same_v<Kernel, VekConvKernel>) *out.nShiftR = kernel->nShiftR;
    ownRotate(*out.values, kernel->values, (int64_t)kernel->nCols * kernel->nRows);
}

void vekGetConvKernel(const VekConvKernel* kernel, int32_t* nCols, int32_t* nRows, int32_t* anchorX, int32_t* anchorY,
                      int32_t** values, int32_t* nShiftR)
{
    OWN_FACE("vekGetConvKernel", "vekkernl");
    const OwnReadBack<int32_t> out = {nCols, nRows, anchorX, anchorY, values, nShiftR, true};
    ownReadKernel(face, kernel, out);
}

void vekGetConvKernelChar(const VekConvKernel* kernel, int32_t* nCols, int32_t* nRows, int32_t* anchorX,
                          int32_t* anchorY, int8_t** values, int32_t* nShiftR)
{
    OWN_FACE("vekGetConvKernelChar", "vekkernl");
    const OwnReadBack<int8_t> out = {nCols, nRows, anchorX, anchorY, values, nShiftR, true};
    ownReadKernel(face, kernel, out);
}

void vekGetConvKernelFP(const VekConvKernelFP* kernel, int32_t* nCols, int32_t* nRows, int32_t* anchorX,
                        int32_t* anchorY, float** values)
{
    OWN_FACE("vekGetConvKernelFP", "vekkernl");
    const OwnReadBack<float> out = {nCols, nRows, anchorX, anchorY, values, nullptr, false};
    ownReadKernel(face, kernel, out);
}

/* ---- Deleting ---------------------------------------------------------------------------------------------------- */

/* A record without coefficients is left alone. */
template <class Kernel> static void ownDeleteKernel(const OwnFace& face, Kernel* kernel)
{
    OWN_REFUSE_IF(kernel==0);
    OWN_REFUSE_IF(kernel->values==0);
    vekFree(kernel->values);
    vekFree(kernel);
}

void vekDeleteConvKernel(VekConvKernel* kernel)
{
    OWN_FACE("vekDeleteConvKernel", "vekkernl");
    ownDeleteKernel(face, kernel);
}

void vekDeleteConvKernelFP(VekConvKernelFP* kernel)
{
    OWN_FACE("vekDeleteConvKernelFP", "vekkernl");
    ownDeleteKernel(face, kernel);
}
