/* Plain rows: kind, width, height, then pixels, again and again. Packed, and if that made a stream, unpacked again. */
#include "dib/ownrle.h"
#include "fuzz.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const OwnFace face = {"fuzz", "fuzz"};
    FuzzReader in = {data, size};
    BITMAPINFOHEADER header = {};
    header.biSize = 40;
    header.biBitCount = in.byte() & 1 ? 8 : 4;
    header.biCompression = header.biBitCount == 8 ? OWN_DIB_RLE8 : OWN_DIB_RLE4;
    header.biWidth = 1 + in.word() % 600;
    header.biHeight = 1 + in.byte() % 8;
    header.biClrUsed = 1 + (uint32_t)in.byte();

    const int64_t rowBytes = ownDibRowBytes(header.biWidth, header.biBitCount),
                  before = 40 + 4 * (int64_t)header.biClrUsed;
    FuzzBytes block((size_t)(before + rowBytes * header.biHeight));
    memcpy(block.data(), &header, 40);
    uint8_t* rows = block.data() + before;
    for (size_t i = 0; i < block.size() - (size_t)before; ++i) rows[i] = in.size ? in.data[i % in.size] : 0;
    const FuzzBytes plain(block);

    BITMAPINFOHEADER* dib = (BITMAPINFOHEADER*)block.data();
    FUZZ_EXPECT(ownCompressDib(face, dib));
    FUZZ_EXPECT(memcmp(block.data() + 40, plain.data() + 40, (size_t)before - 40) == 0);
    if (dib->biCompression == OWN_DIB_PLAIN) {
        FUZZ_EXPECT(memcmp(block.data() + 40, plain.data() + 40, block.size() - 40) == 0);
        return 0;
    }
    block.resize((size_t)before + dib->biSizeImage); /* nothing may be read behind the stream */
    block.shrink_to_fit();
    uint8_t* unpacked = ownDecompressDib(face, (BITMAPINFOHEADER*)block.data(), nullptr);
    FUZZ_EXPECT(unpacked);
    for (int32_t y = 0; y < header.biHeight; ++y)
        for (int32_t x = 0; x < header.biWidth; ++x) {
            const int64_t at = y * rowBytes + (header.biBitCount == 8 ? x : x / 2);
            const int mask = header.biBitCount == 8 ? 255 : x % 2 ? 15 : 240;
            FUZZ_EXPECT(((unpacked[at] ^ plain[(size_t)(before + at)]) & mask) == 0);
        }
    vekFree(unpacked);
    return 0;
}

std::vector<FuzzBytes> fuzzSeeds()
{
    std::vector<FuzzBytes> seeds;
    for (uint8_t kind : {0, 1})
        for (uint8_t width : {2, 30, 255}) {
            const FuzzBytes head = {kind, width, (uint8_t)(width == 255), 3, 15};
            for (const FuzzBytes& pixels : {FuzzBytes{7}, FuzzBytes{1, 1, 1, 2, 3, 4, 4, 5, 6, 7, 8, 9, 9, 9, 9},
                                            FuzzBytes{0x12, 0x34, 0x34, 0x34, 0x55, 0x56, 0x78}}) {
                seeds.push_back(head);
                seeds.back().insert(seeds.back().end(), pixels.begin(), pixels.end());
            }
        }
    return seeds;
}
