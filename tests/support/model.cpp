#include "support/model.h"

#include "support/parts.h"

#include <set>

/* ---- A piece: blocks of pixels and a region in each ------------------------------------------------------------- */

struct ModelPart {
    VekImage header; /* untiled; widthStep and imageSize are those of the block */
    uint8_t* block;
    Area area;
};

static bool isTakenWhole(const ModelPart& part)
{
    const VekImage& image = part.header;
    const int64_t rows = (int64_t)image.height * (image.dataOrder == VEK_DATA_ORDER_PIXEL ? 1 : image.nChannels);
    const int32_t coi = image.roi ? image.roi->coi : 0;
    const bool wholeSamples = image.widthStep * 8 % (int32_t)(image.depth & 0xFF) == 0;
    return !image.alphaChannel && wholeSamples && image.imageSize == rows * image.widthStep && part.area.x == 0 &&
           part.area.y == 0 && part.area.width >= image.width && part.area.height >= image.height &&
           (coi == 0 || (coi == 1 && image.nChannels == 1));
}

/* The exception: all images are taken whole and agree in their sizes, so the blocks are computed, padding included. */
static bool isOneBlock(const std::vector<ModelPart>& parts)
{
    const VekImage& dst = parts.back().header;
    for (const ModelPart& part : parts) {
        const VekImage& image = part.header;
        if (!isTakenWhole(part) || image.width != dst.width || image.height != dst.height ||
            image.imageSize != dst.imageSize || image.align != dst.align)
            return false;
    }
    return true;
}

/* A block as one row of samples, in the order of memory. */
static VekImage asOneRow(const VekImage& image)
{
    VekImage row = image;
    row.nChannels = 1;
    row.dataOrder = VEK_DATA_ORDER_PIXEL;
    row.width = (int32_t)(image.imageSize * INT64_C(8) / (image.depth & 0xFF));
    row.height = 1;
    return row;
}

static void modelBlock(const std::vector<ModelPart>& parts, const SampleFunc& func)
{
    std::vector<VekImage> rows;
    for (const ModelPart& part : parts) rows.push_back(asOneRow(part.header));
    const ModelPart& dst = parts.back();
    for (int32_t x = 0; x < rows.back().width; ++x) {
        const int64_t a = getSample(rows[0], parts[0].block, x, 0, 0);
        const int64_t b = parts.size() == 3 ? getSample(rows[1], parts[1].block, x, 0, 0) : 0;
        setSample(rows.back(), dst.block, x, 0, 0, func(dst.header.depth, a, b));
    }
}

/* All pixels of the piece that the masks let through; `through` is asked with places in the piece. */
static void modelPiece(const std::vector<ModelPart>& parts, const std::function<bool(int64_t, int64_t)>& through,
                       const SampleFunc& func)
{
    const ModelPart& dst = parts.back();
    std::vector<std::vector<int32_t>> channels;
    size_t nChannels = INT32_MAX;
    for (const ModelPart& part : parts) {
        channels.push_back(channelsOf(part.header));
        nChannels = std::min(nChannels, channels.back().size());
    }
    for (int64_t y = 0; y < dst.area.height; ++y)
        for (int64_t x = 0; x < dst.area.width; ++x)
            for (size_t c = 0; through(x, y) && c < nChannels; ++c) {
                int64_t sample[2] = {};
                for (size_t i = 0; i + 1 < parts.size(); ++i)
                    sample[i] = getSample(parts[i].header, parts[i].block, (int32_t)(parts[i].area.x + x),
                                          (int32_t)(parts[i].area.y + y), channels[i][c]);
                setSample(dst.header, dst.block, (int32_t)(dst.area.x + x), (int32_t)(dst.area.y + y),
                          channels.back()[c], func(dst.header.depth, sample[0], sample[1]));
            }
}

/* ---- Tiles ------------------------------------------------------------------------------------------------------ */

/* The places, from 0 to size, where a boundary of some image's tiles cuts the rectangle. */
static std::set<int64_t> cutsOf(const std::vector<ModelImage>& images, const std::vector<Area>& areas, int64_t size,
                                bool isX)
{
    std::set<int64_t> cuts = {0, size};
    for (size_t i = 0; i < images.size(); ++i) {
        const int64_t tile = isX ? images[i].tileWidth : images[i].tileHeight, offset = isX ? areas[i].x : areas[i].y;
        for (int64_t at = 1; tile && at < size; ++at)
            if ((offset + at) % tile == 0) cuts.insert(at);
    }
    return cuts;
}

/* The tile of an image with one of its pixels, laid out as the callback lays it out. */
struct ModelTile {
    VekImage header;
    std::vector<uint8_t> block;
    int64_t x, y;

    ModelTile(const ModelImage& of, int64_t xPixel, int64_t yPixel)
        : header(tileHeader(of.pixels->image, of.tileWidth, of.tileHeight)), block((size_t)header.imageSize, TILE_FILL),
          x(xPixel / of.tileWidth * of.tileWidth), y(yPixel / of.tileHeight * of.tileHeight)
    {
    }

    void move(const VekImage& image, uint8_t* pixels, bool toTile)
    {
        for (int32_t c = 0; c < image.nChannels; ++c)
            for (int32_t j = 0; j < header.height && y + j < image.height; ++j)
                for (int32_t i = 0; i < header.width && x + i < image.width; ++i) {
                    const int32_t xImage = (int32_t)(x + i), yImage = (int32_t)(y + j);
                    if (toTile) setSample(header, block.data(), i, j, c, getSample(image, pixels, xImage, yImage, c));
                    else setSample(image, pixels, xImage, yImage, c, getSample(header, block.data(), i, j, c));
                }
    }
};

/* ---- The operation ---------------------------------------------------------------------------------------------- */

std::vector<uint8_t> modelPoint(const std::vector<ModelImage>& images, const SampleFunc& func)
{
    /* Blocks of the model's own, one for each different image. */
    std::vector<std::vector<uint8_t>> blocks;
    std::vector<size_t> blockOf;
    std::vector<Area> areas;
    std::vector<std::pair<const TestImage*, Area>> masks;
    int64_t width = INT32_MAX, height = INT32_MAX;
    bool anyTiles = false;
    const auto narrow = [&](const Area& area) {
        width = std::min(width, area.width);
        height = std::min(height, area.height);
        return area;
    };
    for (size_t i = 0; i < images.size(); ++i) {
        blockOf.push_back(i);
        for (size_t j = i; j-- > 0;)
            if (images[j].pixels == images[i].pixels) blockOf[i] = j;
        blocks.push_back(images[i].pixels->bytes());
        anyTiles |= images[i].tileWidth > 0;
        areas.push_back(narrow(areaOf(images[i].pixels->image, images[i].tileWidth > 0)));
        if (const TestImage* mask = images[i].pixels->mask.get())
            masks.push_back({mask, narrow(areaOf(mask->image, false))});
    }
    const auto through = [&](int64_t x, int64_t y) {
        for (const auto& [mask, area] : masks)
            if (!mask->get((int32_t)(area.x + x), (int32_t)(area.y + y), 0)) return false;
        return true;
    };

    if (!anyTiles) {
        std::vector<ModelPart> parts;
        for (size_t i = 0; i < images.size(); ++i)
            parts.push_back({images[i].pixels->image, blocks[blockOf[i]].data(), areas[i]});
        /* Whether an image is taken whole is asked of its region, the rows' true length notwithstanding. */
        std::vector<ModelPart> whole = parts;
        for (ModelPart& part : whole) {
            const VekImage& image = part.header;
            if (!image.roi) part.area = {0, 0, image.width, image.height};
            else part.area = {image.roi->xOffset, image.roi->yOffset, image.roi->width, image.roi->height};
        }
        if (masks.empty() && isOneBlock(whole)) modelBlock(whole, func);
        else {
            for (ModelPart& part : parts) part.area = {part.area.x, part.area.y, width, height};
            modelPiece(parts, through, func);
        }
        return blocks[blockOf.back()];
    }

    const std::set<int64_t> xCuts = cutsOf(images, areas, width, true), yCuts = cutsOf(images, areas, height, false);
    for (auto y0 = yCuts.begin(); std::next(y0) != yCuts.end(); ++y0)
        for (auto x0 = xCuts.begin(); std::next(x0) != xCuts.end(); ++x0) {
            const int64_t x = *x0, y = *y0, pieceWidth = *std::next(x0) - x, pieceHeight = *std::next(y0) - y;
            std::vector<std::unique_ptr<ModelTile>> tiles(images.size());
            std::vector<ModelPart> parts;
            for (size_t i = 0; i < images.size(); ++i) {
                const Area area = {areas[i].x + x, areas[i].y + y, pieceWidth, pieceHeight};
                const size_t own = blockOf[i];
                const VekImage& image = images[i].pixels->image;
                if (!images[i].tileWidth) {
                    parts.push_back({image, blocks[own].data(), area});
                    continue;
                }
                if (!tiles[own]) {
                    tiles[own] = std::make_unique<ModelTile>(images[own], area.x, area.y);
                    tiles[own]->move(image, blocks[own].data(), true);
                }
                ModelTile& tile = *tiles[own];
                parts.push_back(
                    {tile.header, tile.block.data(), {area.x - tile.x, area.y - tile.y, pieceWidth, pieceHeight}});
                parts.back().header.roi = image.roi;
            }
            if (masks.empty() && isOneBlock(parts)) modelBlock(parts, func);
            else
                modelPiece(
                    parts, [&](int64_t i, int64_t j) { return through(x + i, y + j); }, func);
            const size_t own = blockOf.back();
            if (tiles[own]) tiles[own]->move(images.back().pixels->image, blocks[own].data(), false);
        }
    return blocks[blockOf.back()];
}

std::string differenceFrom(const std::vector<uint8_t>& expected, const TestImage& dst)
{
    for (size_t i = 0; i < expected.size(); ++i)
        if (dst.block.data[i] != expected[i]) {
            const VekImage& image = dst.image;
            const int64_t rows = image.widthStep ? (int64_t)i / image.widthStep : 0;
            char text[160];
            snprintf(text, sizeof(text), "byte %d (plane %d, row %d, byte %d of it) is %02X, not %02X", (int)i,
                     (int)(rows / image.height), (int)(rows % image.height), (int)(i % (size_t)image.widthStep),
                     dst.block.data[i], expected[i]);
            return text;
        }
    return "";
}
