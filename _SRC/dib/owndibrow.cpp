/* owndibrow: the runs that fetch and store pixels, a table of each by form, and the way over the rows. */
#include "owndibrow.h"

#include "ownsimd.h"

#include <utility>

static constexpr ptrdiff_t OWN_STEP = OwnVec<uint8_t>::lanes; /* pixels that a packed run takes at a time */
typedef OwnVec<uint8_t> OwnBytes;
typedef OwnQuad<uint8_t> OwnColours; /* blue, green, red, alpha of OWN_STEP pixels */

/* The planes of a side of nPlanes: the first, and the one behind the last. */
static inline int ownFirstPlane(const OwnPixels& k) { return k.nPlanes == 1 ? 2 : 0; }
static inline int ownPlanesEnd(const OwnPixels& k) { return k.nPlanes == 1 ? 3 : 4; }

/* ---- Loops ------------------------------------------------------------------------------------------------------- */

/* planes[i] = f(pixels of `size` bytes from in[i] on), the first nPlanes of them, a vector at a time. The last vector
 * overlaps the one before. */
template <int size, int nPlanes, class F>
[[gnu::flatten]] static inline void ownFetchEach(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, F f)
{
    if (n < OWN_STEP) {
        uint8_t part[OWN_STEP * size] = {};
        memcpy(part, in, (size_t)(n * size));
        const OwnColours x = f(part);
        ownStorePart(plane[0], x.a, n);
        ownStorePart(plane[1], x.b, n);
        ownStorePart(plane[2], x.c, n);
        if (nPlanes > 3) ownStorePart(plane[3], x.d, n);
        return;
    }
    for (ptrdiff_t i = 0;; i = std::min(i + OWN_STEP, n - OWN_STEP)) {
        const OwnColours x = f(in + i * size);
        ownStore(plane[0] + i, x.a);
        ownStore(plane[1] + i, x.b);
        ownStore(plane[2] + i, x.c);
        if (nPlanes > 3) ownStore(plane[3] + i, x.d);
        if (i == n - OWN_STEP) return;
    }
}

/* f(place of the pixels, planes[i]). */
template <int size, class F>
[[gnu::flatten]] static inline void ownStoreEach(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, F f)
{
    if (n < OWN_STEP) {
        uint8_t part[OWN_STEP * size];
        f(part, OwnColours{ownLoadPart<uint8_t>(plane[0], n), ownLoadPart<uint8_t>(plane[1], n),
                           ownLoadPart<uint8_t>(plane[2], n), ownLoadPart<uint8_t>(plane[3], n)});
        memcpy(out, part, (size_t)(n * size));
        return;
    }
    for (ptrdiff_t i = 0;; i = std::min(i + OWN_STEP, n - OWN_STEP)) {
        f(out + i * size, OwnColours{ownLoad<uint8_t>(plane[0] + i), ownLoad<uint8_t>(plane[1] + i),
                                     ownLoad<uint8_t>(plane[2] + i), ownLoad<uint8_t>(plane[3] + i)});
        if (i == n - OWN_STEP) return;
    }
}

/* ---- Places in a table ------------------------------------------------------------------------------------------- */

static int ownIndexAt(const uint8_t* in, ptrdiff_t i, int bits)
{
    const ptrdiff_t at = i * bits;
    return in[at >> 3] >> (8 - bits - (at & 7)) & ((1 << bits) - 1);
}

template <int bits>
static void ownFetchIndexPlain(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels& k)
{
    for (ptrdiff_t i = 0; i < n; ++i)
        for (int c = ownFirstPlane(k); c < ownPlanesEnd(k); ++c) plane[c][i] = k.look[c][ownIndexAt(in, i, bits)];
}

static void ownFetchIndex1(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels& k)
{
    for (int c = ownFirstPlane(k); c < ownPlanesEnd(k); ++c) {
        const OwnBytes zero = ownSet(k.look[c][0]), one = ownSet(k.look[c][1]);
        ownMapBits<uint8_t>(plane[c], in, n, [=](OwnBytes bit) { return ownSelect(bit, one, zero); });
    }
}

/* OWN_STEP places from half as many bytes. */
static inline OwnBytes ownNibbles(const uint8_t* in)
{
    const OwnVec<uint16_t> pair = ownLoadWide<uint16_t, uint8_t>(in);
    return ownAs<uint8_t>(ownShiftRight(pair, 4) | ownShiftLeft(pair & ownSet<uint16_t>(15), 8));
}

static void ownFetchIndex4(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels& k)
{
    OwnBytes look[4];
    for (int c = 0; c < 4; ++c) look[c] = ownRepeat16(k.look[c]);
    ptrdiff_t i = 0;
    for (; i <= n - OWN_STEP; i += OWN_STEP) {
        const OwnBytes places = ownNibbles(in + i / 2);
        for (int c = ownFirstPlane(k); c < ownPlanesEnd(k); ++c) ownStore(plane[c] + i, ownPickBytes(look[c], places));
    }
    if (i == n) return;
    uint8_t part[OWN_STEP / 2] = {};
    memcpy(part, in + i / 2, (size_t)(n - i + 1) / 2);
    for (int c = ownFirstPlane(k); c < ownPlanesEnd(k); ++c)
        ownStorePart(plane[c] + i, ownPickBytes(look[c], ownNibbles(part)), n - i);
}

/* Entries are brought together as pixels of four bytes, and those taken apart. */
static void ownFetchIndex8(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels& k)
{
    if (k.nPlanes == 1) {
        if (k.looksSelf) return (void)memcpy(plane[2], in, (size_t)n);
        for (ptrdiff_t i = 0; i < n; ++i) plane[2][i] = k.look[2][in[i]];
        return;
    }
    ownFetchEach<1, 4>(plane, in, n, [&](const uint8_t* p) {
        uint8_t pixels[OWN_STEP][4];
        for (ptrdiff_t i = 0; i < OWN_STEP; ++i) memcpy(pixels[i], k.entries[p[i]], 4);
        return ownLoad4<uint8_t>(pixels);
    });
}

/* Bits and nibbles beside the run keep their values. */
static void ownStoreIndex1(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels& k)
{
    uint8_t indices[256];
    for (ptrdiff_t x = 0; x < n; x += 256) {
        const ptrdiff_t part = std::min<ptrdiff_t>(n - x, 256);
        ownNearestRun(k.nearest, indices, plane[0] + x, plane[1] + x, plane[2] + x, part);
        const ptrdiff_t whole = part & ~(ptrdiff_t)7;
        uint8_t* bytes = out + (x >> 3);
        ownMapToBits<uint8_t>(bytes, indices, whole, [](OwnBytes i) { return ~ownEqual(i, OwnBytes{}); });
        for (ptrdiff_t i = whole; i < part; ++i) {
            const int bit = 0x80 >> (i & 7);
            bytes[i >> 3] = (uint8_t)(indices[i] ? bytes[i >> 3] | bit : bytes[i >> 3] & ~bit);
        }
    }
}
static void ownStoreIndex4(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels& k)
{
    uint8_t indices[256];
    for (ptrdiff_t x = 0; x < n; x += 256) {
        const ptrdiff_t part = std::min<ptrdiff_t>(n - x, 256);
        ownNearestRun(k.nearest, indices, plane[0] + x, plane[1] + x, plane[2] + x, part);
        uint8_t* bytes = out + x / 2;
        for (ptrdiff_t i = 0; i < part / 2; ++i) bytes[i] = (uint8_t)(indices[2 * i] << 4 | (indices[2 * i + 1] & 15));
        if (part & 1) bytes[part / 2] = (uint8_t)(indices[part - 1] << 4 | (bytes[part / 2] & 15));
    }
}
static void ownStoreIndex8(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels& k)
{
    ownNearestRun(k.nearest, out, plane[0], plane[1], plane[2], n);
}

template <int bits>
static void ownStoreIndexPlain(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels& k)
{
    for (ptrdiff_t i = 0; i < n; ++i) {
        uint8_t index;
        ownNearestPlain(k.nearest, &index, plane[0] + i, plane[1] + i, plane[2] + i, 1);
        const int shift = (int)(8 - bits - (i * bits & 7)), mask = ((1 << bits) - 1) << shift;
        uint8_t& byte = out[i * bits >> 3];
        byte = (uint8_t)((byte & ~mask) | ((bits == 1 ? index != 0 : index) << shift & mask));
    }
}

/* ---- Fields ------------------------------------------------------------------------------------------------------ */

/* The bits of a field as a byte: the high eight of them, or shifted up to eight. */
static inline uint8_t ownFieldByte(uint32_t pixel, const OwnField& field)
{
    const uint32_t value = (pixel & field.mask) >> field.shift;
    return (uint8_t)(field.width >= 8 ? value >> (field.width - 8) : value << (8 - field.width));
}

/* The same in lanes, of which the low eight bits are left. */
template <class T> static inline OwnVec<T> ownFieldBytes(OwnVec<T> pixel, const OwnField& field)
{
    const OwnVec<T> value = ownShiftRight(pixel & ownSet((T)field.mask), field.shift);
    return ownSet<T>(255) &
           (field.width >= 8 ? ownShiftRight(value, field.width - 8) : ownShiftLeft(value, 8 - field.width));
}

/* A byte as a field's bits in place: of 16-bit pixels brought to the field's width, of others as it is. */
template <class T> static inline uint32_t ownFieldBits(uint8_t byte, const OwnField& field)
{
    uint32_t value = byte;
    if (sizeof(T) == 2) value = field.width >= 8 ? value << (field.width - 8) : value >> (8 - field.width);
    return value << field.shift & field.mask;
}
template <class T> static inline OwnVec<T> ownFieldBits(OwnVec<T> value, const OwnField& field)
{
    if (sizeof(T) == 2)
        value = field.width >= 8 ? ownShiftLeft(value, field.width - 8) : ownShiftRight(value, 8 - field.width);
    return ownShiftLeft(value, field.shift) & ownSet((T)field.mask);
}

template <class T, int nFields>
static void ownFetchFieldsPlain(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels& k)
{
    for (ptrdiff_t i = 0; i < n; ++i) {
        T pixel;
        memcpy(&pixel, in + i * (ptrdiff_t)sizeof(T), sizeof(T));
        for (int c = 0; c < nFields; ++c) plane[c][i] = ownFieldByte(pixel, k.field[c]);
    }
}
template <class T, int nFields>
static void ownStoreFieldsPlain(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels& k)
{
    for (ptrdiff_t i = 0; i < n; ++i) {
        uint32_t pixel = 0;
        for (int c = 0; c < nFields; ++c) pixel |= ownFieldBits<T>(plane[c][i], k.field[c]);
        const T stored = (T)pixel;
        memcpy(out + i * (ptrdiff_t)sizeof(T), &stored, sizeof(T));
    }
}

static inline OwnColours ownColours16(const uint8_t* p, const OwnPixels& k)
{
    const OwnVec<uint16_t> lo = ownLoad<uint16_t>(p), hi = ownLoad<uint16_t>(p + OWN_STEP);
    const auto field = [&](int c) {
        return ownNarrow<uint8_t>(ownFieldBytes(lo, k.field[c]), ownFieldBytes(hi, k.field[c]));
    };
    return OwnColours{field(0), field(1), field(2), {}};
}
static void ownFetchFields16(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels& k)
{
    ownFetchEach<2, 3>(plane, in, n, [&](const uint8_t* p) { return ownColours16(p, k); });
}

static void ownFetchFields32(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels& k)
{
    ownFetchEach<4, 4>(plane, in, n, [&](const uint8_t* p) {
        const auto part = [&](int c, int i) { return ownFieldBytes(ownLoad<uint32_t>(p + i * OWN_STEP), k.field[c]); };
        const auto field = [&](int c) {
            return ownNarrow<uint8_t>(ownNarrow<uint16_t>(part(c, 0), part(c, 1)),
                                      ownNarrow<uint16_t>(part(c, 2), part(c, 3)));
        };
        return OwnColours{field(0), field(1), field(2), field(3)};
    });
}

/* Pixels in lanes of T, as many as a vector has, from the planes' bytes. */
template <class T, int nFields>
static void ownStoreFields(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels& k)
{
    constexpr ptrdiff_t lanes = OwnVec<T>::lanes;
    ptrdiff_t i = 0;
    for (; i <= n - lanes; i += lanes) {
        OwnVec<T> pixel = {};
        for (int c = 0; c < nFields; ++c)
            pixel = pixel | ownFieldBits(ownLoadWide<T, uint8_t>(plane[c] + i), k.field[c]);
        ownStore(out + i * (ptrdiff_t)sizeof(T), pixel);
    }
    const uint8_t* const rest[4] = {plane[0] + i, plane[1] + i, plane[2] + i, plane[3] + i};
    ownStoreFieldsPlain<T, nFields>(out + i * (ptrdiff_t)sizeof(T), rest, n - i, k);
}

/* ---- Samples ----------------------------------------------------------------------------------------------------- */

/* A 16-bit sample's byte is its high one, and a byte's sample is that times 256. */
static inline OwnBytes ownHighBytes(OwnVec<uint16_t> lo, OwnVec<uint16_t> hi)
{
    return ownNarrow<uint8_t>(ownShiftRight(lo, 8), ownShiftRight(hi, 8));
}
static inline OwnBytes ownHighBytes(const uint8_t* samples)
{
    return ownHighBytes(ownLoad<uint16_t>(samples), ownLoad<uint16_t>(samples + OWN_STEP));
}

template <class T>
static void ownFetchPlanesPlain(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels& k)
{
    for (int c = 0; c < k.nPlanes; ++c)
        ownEach<uint8_t, T>(plane[ownFirstPlane(k) + c], in + c * k.view.channelStep, n,
                            [](T x) { return (uint8_t)(x >> (8 * sizeof(T) - 8)); });
}
template <class T>
static void ownStorePlanesPlain(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels& k)
{
    for (int c = 0; c < k.nPlanes; ++c)
        ownEach<T, uint8_t>(out + c * k.view.channelStep, plane[ownFirstPlane(k) + c], n,
                            [](uint8_t x) { return (T)(x << (8 * sizeof(T) - 8)); });
}

static void ownFetchPlanes8(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels& k)
{
    for (int c = 0; c < k.nPlanes; ++c) memcpy(plane[ownFirstPlane(k) + c], in + c * k.view.channelStep, (size_t)n);
}
static void ownStorePlanes8(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels& k)
{
    for (int c = 0; c < k.nPlanes; ++c) memcpy(out + c * k.view.channelStep, plane[ownFirstPlane(k) + c], (size_t)n);
}
static void ownFetchPlanes16(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels& k)
{
    for (int c = 0; c < k.nPlanes; ++c)
        ownMapTo<uint8_t, uint16_t>(plane[ownFirstPlane(k) + c], in + c * k.view.channelStep, n,
                                    [](const char* p) { return ownHighBytes((const uint8_t*)p); });
}
static void ownStorePlanes16(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels& k)
{
    for (int c = 0; c < k.nPlanes; ++c)
        ownMapTo<uint16_t, uint8_t>(out + c * k.view.channelStep, plane[ownFirstPlane(k) + c], n,
                                    [](const char* p) { return ownShiftLeft(ownLoadWide<uint16_t, uint8_t>(p), 8); });
}

/* Bits: white or black, and white from the middle on. */
static void ownFetchBits(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels&)
{
    ownMapBits<uint8_t>(plane[2], in, n, [](OwnBytes bit) { return bit; });
}
static void ownFetchBitsPlain(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels&)
{
    for (ptrdiff_t i = 0; i < n; ++i) plane[2][i] = (uint8_t)-ownIndexAt(in, i, 1);
}
static void ownStoreBitsPlain(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels&)
{
    for (ptrdiff_t i = 0; i < n; ++i) {
        const int bit = 0x80 >> (i & 7);
        out[i >> 3] = (uint8_t)(plane[2][i] >= 128 ? out[i >> 3] | bit : out[i >> 3] & ~bit);
    }
}
static void ownStoreBits(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels& k)
{
    const ptrdiff_t whole = n & ~(ptrdiff_t)7;
    ownMapToBits<uint8_t>(out, plane[2], whole,
                          [](OwnBytes x) { return ownAs<uint8_t>(ownGreater(OwnVec<int8_t>{}, ownAs<int8_t>(x))); });
    const uint8_t* const rest[4] = {nullptr, nullptr, plane[2] + whole, nullptr};
    ownStoreBitsPlain(out + (whole >> 3), rest, n - whole, k);
}

/* ---- Pixels side by side ----------------------------------------------------------------------------------------- */

/* Pixels of nSamples samples, of which nPlanes have a meaning. */
template <class T, int nSamples, int nPlanes>
static void ownFetchPixelsPlain(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels&)
{
    for (ptrdiff_t i = 0; i < n; ++i)
        for (int c = 0; c < nPlanes; ++c) plane[c][i] = in[(i * nSamples + c + 1) * (ptrdiff_t)sizeof(T) - 1];
}
template <class T, int nSamples, int nPlanes>
static void ownStorePixelsPlain(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels&)
{
    memset(out, 0, (size_t)(n * nSamples) * sizeof(T));
    for (ptrdiff_t i = 0; i < n; ++i)
        for (int c = 0; c < nPlanes; ++c) out[(i * nSamples + c + 1) * (ptrdiff_t)sizeof(T) - 1] = plane[c][i];
}

static void ownFetchThree8(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels&)
{
    ownFetchEach<3, 3>(plane, in, n, [](const uint8_t* p) {
        const OwnTriple<uint8_t> x = ownLoad3<uint8_t>(p);
        return OwnColours{x.a, x.b, x.c, {}};
    });
}
static void ownStoreThree8(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels&)
{
    ownStoreEach<3>(out, plane, n, [](uint8_t* p, const OwnColours& x) { ownStore3<uint8_t>(p, x.a, x.b, x.c); });
}

template <int nPlanes>
static void ownFetchFour8(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels&)
{
    ownFetchEach<4, nPlanes>(plane, in, n, [](const uint8_t* p) { return ownLoad4<uint8_t>(p); });
}
template <int nPlanes>
static void ownStoreFour8(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels&)
{
    ownStoreEach<4>(out, plane, n, [](uint8_t* p, const OwnColours& x) {
        ownStore4<uint8_t>(p, x.a, x.b, x.c, nPlanes > 3 ? x.d : OwnBytes{});
    });
}

static void ownFetchThree16(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels&)
{
    ownFetchEach<6, 3>(plane, in, n, [](const uint8_t* p) {
        const OwnTriple<uint16_t> x = ownLoad3<uint16_t>(p), y = ownLoad3<uint16_t>(p + 3 * OWN_STEP);
        return OwnColours{ownHighBytes(x.a, y.a), ownHighBytes(x.b, y.b), ownHighBytes(x.c, y.c), {}};
    });
}
static void ownFetchFour16(uint8_t* const plane[4], const uint8_t* in, ptrdiff_t n, const OwnPixels&)
{
    ownFetchEach<8, 4>(plane, in, n, [](const uint8_t* p) {
        const OwnQuad<uint16_t> x = ownLoad4<uint16_t>(p), y = ownLoad4<uint16_t>(p + 4 * OWN_STEP);
        return OwnColours{ownHighBytes(x.a, y.a), ownHighBytes(x.b, y.b), ownHighBytes(x.c, y.c),
                          ownHighBytes(x.d, y.d)};
    });
}

/* Half of a vector of bytes as samples: the first (part 0), or the second. */
static inline OwnVec<uint16_t> ownHalfSamples(OwnBytes a, int part)
{
    uint8_t bytes[OWN_STEP];
    ownStore(bytes, a);
    return ownShiftLeft(ownLoadWide<uint16_t, uint8_t>(bytes + part * OWN_STEP / 2), 8);
}
static void ownStoreThree16(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels&)
{
    ownStoreEach<6>(out, plane, n, [](uint8_t* p, const OwnColours& x) {
        for (int i = 0; i < 2; ++i)
            ownStore3<uint16_t>(p + i * 3 * OWN_STEP, ownHalfSamples(x.a, i), ownHalfSamples(x.b, i),
                                ownHalfSamples(x.c, i));
    });
}
static void ownStoreFour16(uint8_t* out, const uint8_t* const plane[4], ptrdiff_t n, const OwnPixels&)
{
    ownStoreEach<8>(out, plane, n, [](uint8_t* p, const OwnColours& x) {
        for (int i = 0; i < 2; ++i)
            ownStore4<uint16_t>(p + i * 4 * OWN_STEP, ownHalfSamples(x.a, i), ownHalfSamples(x.b, i),
                                ownHalfSamples(x.c, i), ownHalfSamples(x.d, i));
    });
}

/* ---- The tables -------------------------------------------------------------------------------------------------- */

const OwnFetchRow ownFetchRows[OWN_FORMS] = {
    /* INDEX1   */ {ownFetchIndex1, ownFetchIndexPlain<1>},
    /* INDEX4   */ {ownFetchIndex4, ownFetchIndexPlain<4>},
    /* INDEX8   */ {ownFetchIndex8, ownFetchIndexPlain<8>},
    /* FIELDS16 */ {ownFetchFields16, ownFetchFieldsPlain<uint16_t, 3>},
    /* FIELDS32 */ {ownFetchFields32, ownFetchFieldsPlain<uint32_t, 4>},
    /* BITS     */ {ownFetchBits, ownFetchBitsPlain},
    /* PLANES8  */ {ownFetchPlanes8, ownFetchPlanesPlain<uint8_t>},
    /* PLANES16 */ {ownFetchPlanes16, ownFetchPlanesPlain<uint16_t>},
    /* THREE8   */ {ownFetchThree8, ownFetchPixelsPlain<uint8_t, 3, 3>},
    /* THREE16  */ {ownFetchThree16, ownFetchPixelsPlain<uint16_t, 3, 3>},
    /* FOUR8    */ {ownFetchFour8<4>, ownFetchPixelsPlain<uint8_t, 4, 4>},
    /* FOUR16   */ {ownFetchFour16, ownFetchPixelsPlain<uint16_t, 4, 4>},
    /* SPARE8   */ {ownFetchFour8<3>, ownFetchPixelsPlain<uint8_t, 4, 3>},
};
const OwnStoreRow ownStoreRows[OWN_FORMS] = {
    /* INDEX1   */ {ownStoreIndex1, ownStoreIndexPlain<1>},
    /* INDEX4   */ {ownStoreIndex4, ownStoreIndexPlain<4>},
    /* INDEX8   */ {ownStoreIndex8, ownStoreIndexPlain<8>},
    /* FIELDS16 */ {ownStoreFields<uint16_t, 3>, ownStoreFieldsPlain<uint16_t, 3>},
    /* FIELDS32 */ {ownStoreFields<uint32_t, 4>, ownStoreFieldsPlain<uint32_t, 4>},
    /* BITS     */ {ownStoreBits, ownStoreBitsPlain},
    /* PLANES8  */ {ownStorePlanes8, ownStorePlanesPlain<uint8_t>},
    /* PLANES16 */ {ownStorePlanes16, ownStorePlanesPlain<uint16_t>},
    /* THREE8   */ {ownStoreThree8, ownStorePixelsPlain<uint8_t, 3, 3>},
    /* THREE16  */ {ownStoreThree16, ownStorePixelsPlain<uint16_t, 3, 3>},
    /* FOUR8    */ {ownStoreFour8<4>, ownStorePixelsPlain<uint8_t, 4, 4>},
    /* FOUR16   */ {ownStoreFour16, ownStorePixelsPlain<uint16_t, 4, 4>},
    /* SPARE8   */ {ownStoreFour8<3>, ownStorePixelsPlain<uint8_t, 4, 3>},
};

/* ---- Straight moves ---------------------------------------------------------------------------------------------- */

static void ownCopyThree8(uint8_t* out, const uint8_t* in, ptrdiff_t n, const OwnPixels&)
{
    memcpy(out, in, (size_t)(3 * n));
}

/* Pixels of three bytes from pixels of `size` bytes, a vector at a time; the last vector overlaps the one before. */
template <int size, class F>
[[gnu::flatten]] static inline void ownToThree8(uint8_t* out, const uint8_t* in, ptrdiff_t n, F f)
{
    const auto move = [&](uint8_t* to, const uint8_t* from) {
        const OwnColours x = f(from);
        ownStore3<uint8_t>(to, x.a, x.b, x.c);
    };
    if (n < OWN_STEP) {
        uint8_t part[OWN_STEP * size] = {}, made[3 * OWN_STEP];
        memcpy(part, in, (size_t)(n * size));
        move(made, part);
        return (void)memcpy(out, made, (size_t)(3 * n));
    }
    for (ptrdiff_t i = 0;; i = std::min(i + OWN_STEP, n - OWN_STEP)) {
        ownPrefetch<OWN_STEP * size>(in + i * size);
        move(out + 3 * i, in + i * size);
        if (i == n - OWN_STEP) return;
    }
}
static void ownFour8ToThree8(uint8_t* out, const uint8_t* in, ptrdiff_t n, const OwnPixels&)
{
    ownToThree8<4>(out, in, n, [](const uint8_t* p) { return ownLoad4<uint8_t>(p); });
}
static void ownFields16ToThree8(uint8_t* out, const uint8_t* in, ptrdiff_t n, const OwnPixels& k)
{
    ownToThree8<2>(out, in, n, [&](const uint8_t* p) { return ownColours16(p, k); });
}

/* Two entries at a time are stored as eight bytes, of which the next ones cover two; the last entries are stored singly. */
static void ownIndex8ToThree8(uint8_t* out, const uint8_t* in, ptrdiff_t n, const OwnPixels& k)
{
    ptrdiff_t i = 0;
    for (; i < n - 2; i += 2) {
        uint32_t first, second;
        memcpy(&first, k.entries[in[i]], 4);
        memcpy(&second, k.entries[in[i + 1]], 4);
        const uint64_t both = (first & 0xFFFFFF) | (uint64_t)second << 24;
        memcpy(out + 3 * i, &both, 8);
    }
    for (; i < n; ++i) memcpy(out + 3 * i, k.entries[in[i]], 3);
}

static const struct OwnStraightMove {
    OwnForm from, to;
    void (*run)(uint8_t* out, const uint8_t* in, ptrdiff_t n, const OwnPixels& from);
} ownStraightMoves[] = {
    {OWN_FORM_THREE8, OWN_FORM_THREE8, ownCopyThree8},     {OWN_FORM_FOUR8, OWN_FORM_THREE8, ownFour8ToThree8},
    {OWN_FORM_SPARE8, OWN_FORM_THREE8, ownFour8ToThree8},  {OWN_FORM_FIELDS16, OWN_FORM_THREE8, ownFields16ToThree8},
    {OWN_FORM_INDEX8, OWN_FORM_THREE8, ownIndex8ToThree8},
};

/* Moves a row without planes where there is a run for that. */
static bool ownMoveStraight(const OwnPixels& from, const OwnPixels& to, uint8_t* out, const uint8_t* in, ptrdiff_t n)
{
    for (const OwnStraightMove& move : ownStraightMoves)
        if (move.from == from.form && move.to == to.form) return move.run(out, in, n, from), true;
    return false;
}

/* ---- Colour ------------------------------------------------------------------------------------------------------ */

/* (28 blue + 151 green + 77 red) >> 8: the weights make 256, so the sum fits 16 bits. */
static inline OwnBytes ownGrayOf(OwnBytes blue, OwnBytes green, OwnBytes red)
{
    const OwnPair<uint16_t> b = ownUnpack(blue), g = ownUnpack(green), r = ownUnpack(red);
    const auto half = [](OwnVec<uint16_t> x, OwnVec<uint16_t> y, OwnVec<uint16_t> z) {
        return ownAs<int16_t>(
            ownShiftRight(x * ownSet<uint16_t>(28) + y * ownSet<uint16_t>(151) + z * ownSet<uint16_t>(77), 8));
    };
    return ownPack<uint8_t>(half(b.lo, g.lo, r.lo), half(b.hi, g.hi, r.hi));
}

/* red becomes the gray; the rest of the run is taken first, since a vector must not be done twice. */
static void ownGrayRun(uint8_t* red, const uint8_t* blue, const uint8_t* green, ptrdiff_t n)
{
    const ptrdiff_t rest = n % OWN_STEP, whole = n - rest;
    ownStorePart(red + whole,
                 ownGrayOf(ownLoadPart<uint8_t>(blue + whole, rest), ownLoadPart<uint8_t>(green + whole, rest),
                           ownLoadPart<uint8_t>(red + whole, rest)),
                 rest);
    for (ptrdiff_t i = 0; i < whole; i += OWN_STEP)
        ownStore(red + i,
                 ownGrayOf(ownLoad<uint8_t>(blue + i), ownLoad<uint8_t>(green + i), ownLoad<uint8_t>(red + i)));
}

/* The planes as the step leaves them. */
static void ownColourStep(uint8_t* plane[4], OwnColourStep step, uint8_t* zeros, ptrdiff_t n)
{
    switch (step) {
    case OWN_STEP_NONE: return;
    case OWN_STEP_SWAP: return std::swap(plane[0], plane[2]);
    case OWN_STEP_GRAY: return ownGrayRun(plane[2], plane[0], plane[1], n);
    case OWN_STEP_LEVEL:
        plane[0] = plane[1] = plane[2];
        plane[3] = zeros;
        return;
    }
}

void ownLookUp(OwnPixels* side, const uint8_t* table, int64_t count, OwnColourStep step)
{
    uint8_t bytes[4][256] = {};
    for (int64_t i = 0; i < std::min<int64_t>(count, 256); ++i)
        for (int c = 0; c < 4; ++c) bytes[c][i] = table[4 * i + c];
    uint8_t zeros[256] = {}, *plane[4] = {bytes[0], bytes[1], bytes[2], bytes[3]};
    ownColourStep(plane, step, zeros, 256);
    side->looksSelf = true;
    for (int i = 0; i < 256; ++i) side->looksSelf &= plane[2][i] == i;
    for (int c = 0; c < 4; ++c) {
        memcpy(side->look[c], plane[c], 256);
        for (int i = 0; i < 256; ++i) side->entries[i][c] = plane[c][i];
    }
}

/* ---- Rows -------------------------------------------------------------------------------------------------------- */

enum { OWN_ROW_CHUNK = 1024 };

static bool ownIsGrayForm(const OwnPixels& side)
{
    return side.form == OWN_FORM_BITS ||
           ((side.form == OWN_FORM_PLANES8 || side.form == OWN_FORM_PLANES16) && side.nPlanes == 1);
}

/* Planes of a chunk. What a form doesn't tell of them is 0. */
struct OwnChunk {
    alignas(64) uint8_t planes[4][OWN_ROW_CHUNK], zeros[OWN_ROW_CHUNK];
};

/* Where a chunk's planes are: of an image of planes of bytes where they lie, else in the chunk. Those of a source are only
 * read. True when there is nothing to fetch. */
static bool ownBorrowPlanes(uint8_t* plane[4], const OwnPixels& side, uint8_t* at, bool isSwapped)
{
    if (side.form != OWN_FORM_PLANES8) return false;
    for (int c = 0; c < side.nPlanes; ++c) plane[ownFirstPlane(side) + c] = at + c * side.view.channelStep;
    if (isSwapped) std::swap(plane[0], plane[2]);
    return true;
}

static void ownMoveRow(const OwnPixels& from, const OwnPixels& to, OwnColourStep step, OwnChunk* chunk, ptrdiff_t y,
                       int32_t width)
{
    uint8_t *in = from.view.data + y * from.view.rowStep, *out = to.view.data + y * to.view.rowStep;
    if (step == OWN_STEP_NONE && ownMoveStraight(from, to, out, in, width)) return;
    const int64_t inBits = (int64_t)from.view.sampleBits * from.view.pixelStep,
                  outBits = (int64_t)to.view.sampleBits * to.view.pixelStep;
    const bool intoPlanes = to.nPlanes != 4; /* not every form tells alpha */
    for (int64_t x = 0; x < width; x += OWN_ROW_CHUNK) {
        const ptrdiff_t n = (ptrdiff_t)std::min<int64_t>(width - x, OWN_ROW_CHUNK);
        uint8_t *part = in + (ptrdiff_t)(x * inBits >> 3), *made = out + (ptrdiff_t)(x * outBits >> 3);
        uint8_t* plane[4] = {chunk->planes[0], chunk->planes[1], chunk->planes[2], chunk->planes[3]};
        const bool isMade = intoPlanes && ownBorrowPlanes(plane, to, made, step == OWN_STEP_SWAP);
        if (isMade || !ownBorrowPlanes(plane, from, part, false)) ownFetchRows[from.form].run(plane, part, n, from);
        if (ownIsGrayForm(from)) plane[0] = plane[1] = plane[2];
        ownColourStep(plane, step, chunk->zeros, n);
        if (!isMade) ownStoreRows[to.form].run(made, plane, n, to);
    }
}

void ownMovePixels(const OwnPixels& from, const OwnPixels& to, OwnColourStep step)
{
    const int32_t width = std::min(from.view.width, to.view.width), height = std::min(from.view.height, to.view.height);
    OwnChunk chunk = {};
    /* Sources are read as they lie in memory: it is reads that wait for it. */
    const bool isUpward = from.view.rowStep < 0;
    for (ptrdiff_t y = 0; y < height; ++y) ownMoveRow(from, to, step, &chunk, isUpward ? height - 1 - y : y, width);
}
