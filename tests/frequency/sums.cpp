#include "frequency/sums.h"

#include <math.h>

#include <sstream>

static const Real pi = 3.14159265358979323846264338327950288L;

/* ---- Sums ------------------------------------------------------------------------------------------------------ */

/* Multiplies every row by a matrix that is given as a function of (output, input). */
template <class T, class M> static Grid<T> timesRows(const Grid<T>& in, M matrix)
{
    Grid<T> out(in.width, in.height);
    for (int32_t y = 0; y < in.height; ++y)
        for (int32_t u = 0; u < in.width; ++u) {
            T sum = 0;
            for (int32_t x = 0; x < in.width; ++x) sum += in(x, y) * matrix(u, x);
            out(u, y) = sum;
        }
    return out;
}
template <class T> static Grid<T> turned(const Grid<T>& in)
{
    Grid<T> out(in.height, in.width);
    for (int32_t y = 0; y < in.height; ++y)
        for (int32_t x = 0; x < in.width; ++x) out(y, x) = in(x, y);
    return out;
}

static Grid<Complex> fourierRows(const Grid<Complex>& in, int sign)
{
    const int32_t n = in.width;
    std::vector<Complex> roots((size_t)n);
    for (int32_t k = 0; k < n; ++k) roots[k] = Complex(cosl(2 * pi * k / n), sign * sinl(2 * pi * k / n));
    return timesRows(in, [&](int32_t u, int32_t x) { return roots[(int64_t)u * x % n]; });
}

Grid<Complex> fourierSums(const Grid<Complex>& in, int sign)
{
    return turned(fourierRows(turned(fourierRows(in, sign)), sign));
}

static Grid<Real> cosineRows(const Grid<Real>& in, bool isForward)
{
    const int32_t n = in.width;
    std::vector<Real> cosines((size_t)4 * n);
    for (int32_t k = 0; k < 4 * n; ++k) cosines[k] = cosl(k * pi / (2 * n));
    return timesRows(in, [&](int32_t to, int32_t from) {
        const int64_t k = isForward ? to : from, j = isForward ? from : to;
        return cosines[(2 * j + 1) * k % (4 * n)] * sqrtl((k ? 2.0L : 1.0L) / n);
    });
}

Grid<Real> cosineSums(const Grid<Real>& in, bool isForward)
{
    return turned(cosineRows(turned(cosineRows(in, isForward)), isForward));
}

/* ---- Packing --------------------------------------------------------------------------------------------------- */

Grid<Real> packSpectrum(const Grid<Complex>& whole)
{
    const int32_t w = whole.width, h = whole.height;
    Grid<Real> packed(w, h);
    for (int32_t v = 0; v < h; ++v)
        for (int32_t u = 1; u < w - u; ++u) {
            packed(2 * u - 1, v) = whole(u, v).real();
            packed(2 * u, v) = whole(u, v).imag();
        }
    for (const auto& [column, u] : {std::pair(0, 0), std::pair(w - 1, w / 2)}) {
        if (u > 0 && w % 2 != 0) break;
        packed(column, 0) = whole(u, 0).real();
        for (int32_t v = 1; v < h - v; ++v) {
            packed(column, 2 * v - 1) = whole(u, v).real();
            packed(column, 2 * v) = whole(u, v).imag();
        }
        if (h % 2 == 0) packed(column, h - 1) = whole(u, h / 2).real();
        if (w == 1) break;
    }
    return packed;
}

Grid<Complex> unpackSpectrum(const Grid<Real>& packed)
{
    const int32_t w = packed.width, h = packed.height;
    Grid<Complex> whole(w, h);
    const auto set = [&](int32_t u, int32_t v, Complex x) {
        whole(u, v) = x;
        if ((w - u) % w != u || (h - v) % h != v) whole((w - u) % w, (h - v) % h) = std::conj(x);
    };
    for (int32_t v = 0; v < h; ++v)
        for (int32_t u = 1; u < w - u; ++u) set(u, v, Complex(packed(2 * u - 1, v), packed(2 * u, v)));
    for (const auto& [column, u] : {std::pair(0, 0), std::pair(w - 1, w / 2)}) {
        if (u > 0 && w % 2 != 0) break;
        set(u, 0, packed(column, 0));
        for (int32_t v = 1; v < h - v; ++v) set(u, v, Complex(packed(column, 2 * v - 1), packed(column, 2 * v)));
        if (h % 2 == 0) set(u, h / 2, packed(column, h - 1));
        if (w == 1) break;
    }
    return whole;
}

/* ---- Images ---------------------------------------------------------------------------------------------------- */

Part partOf(const VekImage& image)
{
    Part part = {0, 0, image.width, image.height, {}};
    if (image.roi) {
        part.x = image.roi->xOffset, part.y = image.roi->yOffset;
        part.width = std::max(0, std::min(image.roi->width, image.width - part.x));
        part.height = std::max(0, std::min(image.roi->height, image.height - part.y));
    }
    if (image.roi && image.roi->coi > 0) part.channels = {image.roi->coi - 1};
    else
        for (int32_t c = 0; c < image.nChannels - (image.alphaChannel ? 1 : 0); ++c) part.channels.push_back(c);
    return part;
}

Real numberAt(const VekImage& image, const uint8_t* block, int32_t x, int32_t y, int32_t channel)
{
    const int64_t sample = getSample(image, block, x, y, channel);
    if (image.depth != VEK_DEPTH_32F) return (Real)sample;
    const uint32_t bits = (uint32_t)sample;
    float number;
    memcpy(&number, &bits, sizeof(number));
    return number;
}

Grid<Real> readPart(const TestImage& image, const Part& part, int32_t channel, int32_t width, int32_t height)
{
    Grid<Real> grid(width, height);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            grid(x, y) = numberAt(image.image, image.block.data, part.x + x, part.y + y, channel);
    return grid;
}

static Real highest(uint32_t depth)
{
    const int bits = (int)(depth & ~VEK_DEPTH_SIGN);
    return ldexpl(1, depth & VEK_DEPTH_SIGN ? bits - 1 : bits) - 1;
}

Real stored(uint32_t depth, Real x)
{
    if (depth == VEK_DEPTH_32F) return x;
    const Real low = depth & VEK_DEPTH_SIGN ? -highest(depth) - 1 : 0;
    return truncl(std::min(std::max(x, low), highest(depth)));
}

void fillTame(TestImage& image, Random& random, double size)
{
    const VekImage& header = image.image;
    const double most = std::min<double>(size, header.depth == VEK_DEPTH_32F ? size : (double)highest(header.depth));
    const double least = header.depth == VEK_DEPTH_32F || (header.depth & VEK_DEPTH_SIGN) ? -most : 0;
    std::uniform_real_distribution<double> numbers(least, most);
    for (int32_t c = 0; c < header.nChannels; ++c)
        for (int32_t y = 0; y < header.height; ++y)
            for (int32_t x = 0; x < header.width; ++x) {
                const float number = (float)numbers(random);
                int32_t bits = (int32_t)number;
                if (header.depth == VEK_DEPTH_32F) memcpy(&bits, &number, sizeof(bits));
                setSample(header, image.block.data, x, y, c, bits);
            }
}

std::string differenceFromGrids(const TestImage& image, const std::vector<uint8_t>& before, const Part& part,
                                const std::vector<Grid<Real>>& expected, const std::vector<Real>& slack)
{
    const VekImage& header = image.image;
    std::vector<uint8_t> rest = before; /* takes the results over: what differs then was not to be touched */
    for (size_t i = 0; i < expected.size(); ++i)
        for (int32_t y = 0; y < expected[i].height; ++y)
            for (int32_t x = 0; x < expected[i].width; ++x) {
                const int32_t c = part.channels[i], column = part.x + x, row = part.y + y;
                const Real got = numberAt(header, image.block.data, column, row, c), want = expected[i](x, y);
                const bool isNear = got >= stored(header.depth, want - slack[i]) &&
                                    got <= stored(header.depth, want + slack[i]);
                if (!isNear) {
                    std::ostringstream text;
                    text << "[" << x << "," << y << "] channel " << c << ": " << got << ", not " << want << " within "
                         << slack[i];
                    return text.str();
                }
                setSample(header, rest.data(), column, row, c, getSample(header, image.block.data, column, row, c));
            }
    if (rest != image.bytes()) return "bytes outside the result have changed";
    return "";
}

/* ---- Random headers -------------------------------------------------------------------------------------------- */

ImageSpec Draw::spec(const std::vector<uint32_t>& depths)
{
    ImageSpec made;
    made.depth = depths[draw(random, 0, (int)depths.size() - 1)];
    made.nChannels = draw(random, 1, 4);
    made.hasAlpha = made.nChannels > 1 && draw(random, 0, 2) == 0;
    made.dataOrder = draw(random, 0, 1);
    made.width = draw(random, 1, most);
    made.height = draw(random, 1, most);
    made.align = draw(random, 0, 1) ? 4 : 8;
    made.moreStep = draw(random, 0, 3) == 0 ? draw(random, 1, 9) : 0;
    made.atEnd = draw(random, 0, 1);
    return made;
}

void Draw::roi(TestImage& image, int32_t coi)
{
    const VekImage& header = image.image;
    if (coi == 0 && draw(random, 0, 1)) return;
    const int32_t x = draw(random, 0, header.width / 2), y = draw(random, 0, header.height / 2);
    const bool isAcross = draw(random, 0, 3) == 0;
    image.setRoi(coi, x, y, draw(random, 1, isAcross ? 2 * most : std::max(1, header.width - x)),
                 draw(random, 1, isAcross ? 2 * most : std::max(1, header.height - y)));
}
