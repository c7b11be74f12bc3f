#include "colour/colour_model.h"

#include <math.h>

#include <algorithm>

double sampleValue(uint32_t depth, int64_t bits)
{
    if (depth != VEK_DEPTH_32F) return (double)bits;
    const uint32_t word = (uint32_t)bits;
    float value;
    memcpy(&value, &word, 4);
    return value;
}

int64_t sampleBitsOf(uint32_t depth, double value)
{
    if (depth != VEK_DEPTH_32F) return (int64_t)value;
    const float single = (float)value;
    uint32_t word;
    memcpy(&word, &single, 4);
    return word;
}

static double chop(double low, double high, double x) { return trunc(x < low ? low : x > high ? high : x); }
static double wrap(double x) { return (int32_t)(uint32_t)(int64_t)x; }

static const double most8 = 255, most16 = 65535, most32 = 2147483647;

/* ---- Hues ------------------------------------------------------------------------------------------------------ */

static double hue(Triple in, double most, double d)
{
    const double r = in.v[0], g = in.v[1], b = in.v[2];
    double h;
    if (r == most) h = wrap((g - b) * 60) / d;
    else if (g == most) h = wrap((b - r) * 60) / d + 120;
    else h = wrap((r - g) * 60) / d + 240;
    return trunc(h < 0 ? h + 360 : h);
}

template <int bits> static Triple hsv(Triple in, bool)
{
    const double M = bits == 8 ? most8 : bits == 16 ? most16 : most32;
    const double V = std::max({in.v[0], in.v[1], in.v[2]}), d = V - std::min({in.v[0], in.v[1], in.v[2]});
    const double s = V == 0 ? 0 : trunc(d * M / V);
    const double h = s == 0 ? 0 : hue(in, V, d);
    return {{bits == 8 ? floor(h / 2) : h, s, V}};
}

template <int bits> static Triple hsvToRgb(Triple in, bool)
{
    const double H = in.v[0], S = in.v[1], V = in.v[2];
    if (S == 0) return {{V, V, V}};
    double p, q, t;
    int sector;
    if (bits == 8) {
        const int h2 = (int)H * 2, s = (int)S, v = (int)V, a = (s * v) >> 8;
        sector = h2 == 360 ? 0 : h2 / 60;
        const int f = h2 == 360 ? 0 : h2 % 60;
        p = v - a;
        q = v - ((a * f * 34) >> 11);
        t = v - (((60 - f) * a * 34) >> 11);
    } else {
        const double M = bits == 16 ? most16 : most32, K = bits == 16 ? 1.52590219e-05 : 4.656612875e-10;
        const double h = H == 360 ? 0 : H * 0.01666666667;
        sector = (int)h;
        const double f = h - sector, low = bits == 16 ? 0 : -most32 - 1;
        p = chop(low, M, (M - S) * V * K);
        t = chop(low, M, (M - (1 - f) * S) * V * K);
        q = chop(low, M, (M - f * S) * V * K);
    }
    switch (sector) {
    case 0: return {{V, t, p}};
    case 1: return {{q, V, p}};
    case 2: return {{p, V, t}};
    case 3: return {{p, q, V}};
    case 4: return {{t, p, V}};
    }
    return {{V, p, q}};
}

template <int bits> static Triple hls(Triple in, bool)
{
    const double mx = std::max({in.v[0], in.v[1], in.v[2]}), mn = std::min({in.v[0], in.v[1], in.v[2]});
    const double M = bits == 8 ? most8 : bits == 16 ? most16 : most32, d = mx - mn, s = wrap(mx + mn);
    const double l = floor(s / 2);
    if (d == 0) return {{0, l, 0}};
    const bool dark = bits == 8 ? s < 256 : bits == 16 ? s < 65536 : s <= most32;
    const double low = bits == 32 ? -most32 - 1 : 0, h = hue(in, mx, d);
    return {{bits == 8 ? floor(h / 2) : h, l, chop(low, M, dark ? M * d / s : M * d / (2 * M - s))}};
}

template <int bits> static double ramp(double l, double m1, double m2, double x)
{
    double up = x < 60 ? x : 240 - x;
    if (x >= 240) up = 0;
    if (bits == 8) {
        const int c = (int)(m2 - l) * 2 * 137;
        if (x >= 60 && x < 180) return (uint8_t)(int)m2;
        return (uint8_t)((int)m1 + ((c * (int)up) >> 13));
    }
    if (x >= 60 && x < 180) return m2;
    return x >= 240 ? m1 : m1 + (m2 - m1) * up * 0.0166666667;
}

template <int bits> static Triple hlsToRgb(Triple in, bool)
{
    const double H = in.v[0], L = in.v[1], S = in.v[2];
    if (S == 0) return {{L, L, L}};
    double red, green = bits == 8 ? 2 * H : H, blue, m2;
    if (bits == 16) {
        red = H + 120 > 360 ? H - 240 : H + 120;
        green = H > 360 ? H - 360 : H;
        blue = H - 120 < 0 ? H + 240 : H - 120 > 360 ? H - 480 : H - 120;
        m2 = L < 32768 ? L + L * S * 1.52590219e-05 : (L - L * S * 1.52590219e-05) + S;
    } else {
        red = green <= 240 ? green + 120 : green - 240;
        blue = green < 120 ? green + 240 : green - 120;
        const double a = (double)(((int64_t)L * (int64_t)S * 258) >> 16), k = 4.656612875e-10;
        if (bits == 8) m2 = L < 128 ? L + a : S + L - a;
        else m2 = L < 1073741824 ? L + S * L * k : (L - L * S * k) + S;
    }
    const double m1 = wrap(2 * L) - m2, M = bits == 8 ? most8 : bits == 16 ? most16 : most32;
    const double low = bits == 32 ? -most32 - 1 : 0;
    return {{chop(low, M, ramp<bits>(L, m1, m2, red)), chop(low, M, ramp<bits>(L, m1, m2, green)),
             chop(low, M, ramp<bits>(L, m1, m2, blue))}};
}

/* ---- Sums ------------------------------------------------------------------------------------------------------ */

/* A matrix in the precision of Real, summed from left to right. */
template <class Real> static Triple matrix(const double m[9], Triple in)
{
    Triple out;
    const Real x = (Real)in.v[0], y = (Real)in.v[1], z = (Real)in.v[2];
    for (int r = 0; r < 3; ++r) {
        Real sum = (Real)m[3 * r] * x;
        sum += (Real)m[3 * r + 1] * y;
        sum += (Real)m[3 * r + 2] * z;
        out.v[r] = sum;
    }
    return out;
}
static const double toXyz[9] = {0.412453, 0.35758, 0.180423, 0.212671, 0.71516, 0.072169, 0.019334, 0.119193, 0.950227};
static const double fromXyz[9] = {3.240479, -1.53715, -0.498535, -0.969256, 1.875992,
                                  0.041556, 0.055648, -0.204043, 1.057311};
static const double toXyzFixed[9] = {6758, 5859, 2956, 3484, 11717, 1182, 317, 1953, 15569};
static const double fromXyzFixed[9] = {53092, -25185, -8168, -15880, 30736, 681, 912, -3343, 17323};

/* bits 0: 32F. */
template <int bits> static Triple xyzBy(const double* real, const double* fixed, Triple in)
{
    if (bits == 0) return matrix<float>(real, in);
    Triple out = matrix<double>(bits == 32 ? real : fixed, in);
    for (double& x : out.v)
        x = bits == 32 ? chop(0, most32, x) : chop(0, bits == 8 ? most8 : most16, floor((x + 8192) / 16384));
    return out;
}
template <int bits> static Triple xyz(Triple in, bool) { return xyzBy<bits>(toXyz, toXyzFixed, in); }
template <int bits> static Triple xyzToRgb(Triple in, bool) { return xyzBy<bits>(fromXyz, fromXyzFixed, in); }

template <int bits> static Triple yuv(Triple in, bool)
{
    const double r = in.v[0], b = in.v[2];
    if (bits == 0) {
        const float y = 0.299f * (float)r + 0.587f * (float)in.v[1] + 0.114f * (float)b;
        return {{y, (float)b - y, (float)r - y}};
    }
    if (bits == 32) {
        const double y = 0.299 * r + 0.587 * in.v[1] + 0.114 * b, low = -most32 - 1;
        return {{chop(low, most32, y), chop(low, most32, b - y), chop(low, most32, r - y)}};
    }
    const double y = floor((4899 * r + 9617 * in.v[1] + 1868 * b) / 16384), most = bits == 8 ? 127 : 32767;
    return {{std::min(y, most), chop(-most - 1, most, b - y), chop(-most - 1, most, r - y)}};
}

template <int bits> static Triple yuvToRgb(Triple in, bool equalSteps)
{
    const double y = in.v[0], u = in.v[1], v = in.v[2];
    if (bits == 0) {
        const float fy = (float)y, fu = (float)u, fv = (float)v;
        return {{fy + fv, fy - 0.509f * fv - 0.194f * fu, fy + fu}};
    }
    if (bits == 32) {
        const double a = equalSteps ? 0.509f : 0.509, c = equalSteps ? 0.194f : 0.194;
        return {{chop(0, most32, y + v), chop(0, most32, y - a * v - c * u + 0.5), chop(0, most32, y + u)}};
    }
    const double green = y - floor((8340 * v + 3179 * u) / 16384);
    return {{std::max(y + v, 0.0), std::max(green, 0.0), std::max(y + u, 0.0)}};
}

template <int bits> static Triple ycr(Triple in, bool)
{
    const double r = in.v[0], g = in.v[1], b = in.v[2];
    if (bits == 0) {
        const float x = (float)r, y = (float)g, z = (float)b;
        return {{0.299f * x + 0.587f * y + 0.114f * z, -0.16873591f * x - 0.33126399f * y + 0.5f * z + 0.5f,
                 0.5f * x - 0.41868758f * y - 0.081312411f * z + 0.5f}};
    }
    if (bits == 32)
        return {{trunc(0.299 * r + 0.587 * g + 0.114 * b), trunc(-0.1687359 * r - 0.331264 * g + 0.5 * b + 1073741823),
                 trunc(0.5 * r - 0.41868759 * g - 0.08131241 * b + 1073741823)}};
    if (bits == 16)
        return {{floor((4899 * r + 9617 * g + 1868 * b + 8192) / 16384),
                 floor((536870912 - 2765 * r - 5427 * g + 8192 * b) / 16384),
                 floor((8192 * r - 6860 * g + 536870912 - 1332 * b) / 16384)}};
    const double y = floor((4898 * r + 9617 * g + 1867 * b + 8192) / 16384);
    return {{y, floor(((b - y) * 9246 + 2097152) / 16384), floor(((r - y) * 11686 + 2097152) / 16384)}};
}

template <int bits> static Triple ycrToRgb(Triple in, bool)
{
    const double y = in.v[0], cb = in.v[1], cr = in.v[2];
    if (bits == 0) {
        const float a = (float)y, b = (float)cb, c = (float)cr;
        const float r = 1.402f * c + a - 0.701f, g = a - 0.3441363f * b - 0.7141363f * c + 0.5291363f;
        const float blue = 1.772f * b + a - 0.886f;
        return {{r < 0 ? 0 : r, g < 0 ? 0 : g, blue < 0 ? 0 : blue}};
    }
    if (bits == 32)
        return {{chop(0, most32, 1.402 * cr + y - 1505386036.547 + 0.5),
                 chop(0, most32, y - 0.3441362862 * cb - 0.7141362862 * cr + 1136311521.6488118 + 0.5),
                 chop(0, most32, 1.772 * cb + y - 1902670511.242 + 0.5)}};
    const double r = bits == 8 ? 2928675 : 752669475, g = bits == 8 ? 2210595 : 568122915;
    const double b = bits == 8 ? 3701580 : 951306060, most = bits == 8 ? most8 : most16;
    return {{chop(0, most, y + floor((22970 * cr - r) / 16384)),
             chop(0, most, y - floor((5638 * cb + 11700 * cr - g) / 16384)),
             chop(0, most, y + floor((29032 * cb - b) / 16384))}};
}

/* The curve by its runs of equal values: how often each value from 0 to 255 occurs, one after the other. */
static std::vector<uint8_t> makeCurve()
{
    static const char counts[] =
        "122111111111111111111011111011110111101111011101110111011101110111011011101110110111011011011101"
        "101101110110110111011011011101101110111011101110111011101111011110111110111110111111101111111111"
        "1011111111112111111112111211121212121222122232323343455669:>AB\?C";
    std::vector<uint8_t> curve;
    for (int value = 0; value < 256; ++value) curve.insert(curve.end(), (size_t)(counts[value] - '0'), (uint8_t)value);
    curve.push_back(0);
    return curve;
}
static double yccCurve(int index)
{
    static const std::vector<uint8_t> curve = makeCurve();
    return curve.at((size_t)std::min(index, 361));
}
static Triple yccToRgb(Triple in, bool)
{
    const int y = (int)in.v[0], c1 = (int)in.v[1], c2 = (int)in.v[2];
    return {{yccCurve((22256 * y + 29844 * c2 + 4088627) >> 14),
             yccCurve(std::max((22256 * y + 7050 * c1 - 15190 * c2 - 3180790) >> 14, 0)),
             yccCurve((22256 * y + 36338 * c1 + 5668700) >> 14)}};
}

/* ---- LUV ------------------------------------------------------------------------------------------------------- */

typedef long double Real;

static Real row(const double m[3], Real x, Real y, Real z) { return m[0] * x + m[1] * y + m[2] * z; }

static Triple luv(Triple in, bool)
{
    const Real X = row(toXyz, in.v[0], in.v[1], in.v[2]), Y = row(toXyz + 3, in.v[0], in.v[1], in.v[2]);
    const Real Z = row(toXyz + 6, in.v[0], in.v[1], in.v[2]);
    if (!(Y > 0.00329)) return {{0, 0, 0}};
    const Real L = powl(Y * 3.039513678, 0.3333333433) * 116 - 16, r = 1 / (3 * Z + 15 * Y + X);
    return {{(float)L, (float)((4 * X * r - 0.19783001) * 13 * L), (float)((9 * Y * r - 0.46831998) * 13 * L)}};
}
static Triple luvToRgb(Triple in, bool)
{
    const Real L = in.v[0], Y = powl((16 + L) * 0.0086206896, 3) * 0.329;
    const Real r = 1 / (13 * (fabsl(L) < 9.999999747e-06 ? (Real)9.9999997e-06 : L));
    const Real u = in.v[1] * r + 0.19783001, v = in.v[2] * r + 0.46831998, X = 9 * Y * u / (4 * v);
    const Real Z = (4 / (3 * u) - 0.33333299) * X - 5 * Y;
    Triple out;
    for (int i = 0; i < 3; ++i) out.v[i] = (float)std::max<Real>(row(fromXyz + 3 * i, X, Y, Z), 0);
    return out;
}

/* ---- The table ------------------------------------------------------------------------------------------------- */

#define ALIKE(name, call, model, toRgb, bits, depth, formula)                                                          \
    {                                                                                                                  \
        name " " #depth, call, model, toRgb, VEK_DEPTH_##depth, VEK_DEPTH_##depth, formula<bits>, 0                    \
    }
#define HUES(model, there, formulaThere, back, formulaBack)                                                            \
    ALIKE(#there, there, model, false, 8, 8U, formulaThere),                                                           \
        ALIKE(#there, there, model, false, 16, 16U, formulaThere),                                                     \
        ALIKE(#there, there, model, false, 32, 32S, formulaThere),                                                     \
        ALIKE(#back, back, model, true, 8, 8U, formulaBack), ALIKE(#back, back, model, true, 16, 16U, formulaBack),    \
        ALIKE(#back, back, model, true, 32, 32S, formulaBack)
#define SUMS(model, there, formulaThere, back, formulaBack)                                                            \
    HUES(model, there, formulaThere, back, formulaBack), ALIKE(#there, there, model, false, 0, 32F, formulaThere),     \
        ALIKE(#back, back, model, true, 0, 32F, formulaBack)

const Conversion conversions[] = {
    HUES("HSV", vekRGB2HSV, hsv, vekHSV2RGB, hsvToRgb),
    HUES("HLS", vekRGB2HLS, hls, vekHLS2RGB, hlsToRgb),
    SUMS("XYZ", vekRGB2XYZ, xyz, vekXYZ2RGB, xyzToRgb),
    SUMS("YCr", vekRGB2YCrCb, ycr, vekYCrCb2RGB, ycrToRgb),
    {"vekRGB2YUV 8U", vekRGB2YUV, "YUV", false, VEK_DEPTH_8U, VEK_DEPTH_8S, yuv<8>, 0},
    {"vekRGB2YUV 16U", vekRGB2YUV, "YUV", false, VEK_DEPTH_16U, VEK_DEPTH_16S, yuv<16>, 0},
    ALIKE("vekRGB2YUV", vekRGB2YUV, "YUV", false, 32, 32S, yuv),
    ALIKE("vekRGB2YUV", vekRGB2YUV, "YUV", false, 0, 32F, yuv),
    {"vekYUV2RGB 8S", vekYUV2RGB, "YUV", true, VEK_DEPTH_8S, VEK_DEPTH_8U, yuvToRgb<8>, 0},
    {"vekYUV2RGB 16S", vekYUV2RGB, "YUV", true, VEK_DEPTH_16S, VEK_DEPTH_16U, yuvToRgb<16>, 0},
    ALIKE("vekYUV2RGB", vekYUV2RGB, "YUV", true, 32, 32S, yuvToRgb),
    ALIKE("vekYUV2RGB", vekYUV2RGB, "YUV", true, 0, 32F, yuvToRgb),
    {"vekYCC2RGB 8U", vekYCC2RGB, "YCC", true, VEK_DEPTH_8U, VEK_DEPTH_8U, yccToRgb, 0},
    {"vekRGB2LUV 32F", vekRGB2LUV, "LUV", false, VEK_DEPTH_32F, VEK_DEPTH_32F, luv, 1},
    {"vekLUV2RGB 32F", vekLUV2RGB, "LUV", true, VEK_DEPTH_32F, VEK_DEPTH_32F, luvToRgb, 1},
};
const int nConversions = (int)(sizeof(conversions) / sizeof(conversions[0]));

/* ---- Headers --------------------------------------------------------------------------------------------------- */

std::string four(const char* name) { return std::string(name, 3) + std::string(1, '\0'); }

void nameImage(VekImage& image, const char* model, const char* sequence)
{
    memcpy(image.colorModel, model, 4);
    memcpy(image.channelSeq, sequence, 4);
}

EveryPixel::EveryPixel() : samples((size_t)WIDTH * HEIGHT * 3)
{
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = (uint8_t)(i / 3 * EVERY_NTH >> (16 - 8 * (i % 3)));
}

VekImage headerOn(std::vector<uint8_t>& samples, uint32_t depth, int32_t nChannels, const char* model)
{
    VekImage image = {};
    image.headerSize = sizeof(VekImage);
    image.depth = depth;
    image.align = 4;
    image.width = EveryPixel::WIDTH;
    image.height = EveryPixel::HEIGHT;
    image.nChannels = nChannels;
    image.widthStep = image.width * nChannels;
    image.imageSize = image.widthStep * image.height;
    image.imageData = samples.data();
    nameImage(image, model, model);
    return image;
}
