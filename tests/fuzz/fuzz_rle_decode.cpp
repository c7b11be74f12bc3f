/* A stream of commands: kind, width, height, then the stream. It ends with ends of the picture, as many as its last command
 * may swallow. */
#include "dib/ownrle.h"
#include "fuzz.h"

#include <stdlib.h>

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const OwnFace face = {"fuzz", "fuzz"};
    FuzzReader in = {data, size};
    BITMAPINFOHEADER dib = {};
    dib.biSize = 40;
    dib.biBitCount = in.byte() & 1 ? 8 : 4;
    dib.biCompression = dib.biBitCount == 8 ? OWN_DIB_RLE8 : OWN_DIB_RLE4;
    dib.biWidth = in.word() % 700;
    dib.biHeight = in.byte() % 40;

    const size_t nBytes = in.size + in.size % 2 + 260;
    uint8_t* stream = (uint8_t*)malloc(nBytes); /* of its own, so that the sanitizer sees its end */
    FUZZ_EXPECT(stream);
    for (size_t i = 0; i < nBytes; ++i) stream[i] = i < in.size ? in.data[i] : (uint8_t)(i % 2);
    uint8_t* rows = ownDecompressDib(face, &dib, stream);
    FUZZ_EXPECT(rows || vekGetErrStatus() != VEK_StatusOk);
    if (rows) { /* what no command writes is 0; so is what lies beyond the width */
        const int64_t rowBytes = ownDibRowBytes(dib.biWidth, dib.biBitCount);
        for (int32_t y = 0; y < dib.biHeight; ++y)
            for (int64_t i = (dib.biWidth * (int64_t)dib.biBitCount + 7) / 8; i < rowBytes; ++i)
                FUZZ_EXPECT(rows[y * rowBytes + i] == 0);
    }
    vekFree(rows);
    vekSetErrStatus(VEK_StatusOk);
    free(stream);
    return 0;
}

std::vector<FuzzBytes> fuzzSeeds()
{
    return {
        {1, 3, 0, 2, 3, 7, 0, 0, 3, 8, 0, 0, 0, 1},
        {1, 5, 0, 1, 0, 5, 1, 2, 3, 4, 5, 0, 0, 0, 0, 1},
        {1, 5, 0, 3, 1, 9, 0, 2, 1, 2, 1, 6, 0, 1},
        {1, 44, 1, 2, 255, 1, 45, 2, 0, 0, 200, 3, 100, 4, 0, 1},
        {1, 5, 0, 3, 0, 2, 5, 3, 0, 1},
        {0, 5, 0, 2, 3, 0x12, 2, 0x34, 0, 0, 1, 0x12, 4, 0x34, 0, 1},
        {0, 6, 0, 1, 1, 0xA0, 0, 5, 0x12, 0x34, 0x5F, 0, 0, 1},
        {0, 6, 0, 2, 1, 0x90, 0, 2, 2, 1, 2, 0x78, 0, 1},
        {0, 44, 1, 1, 255, 0x12, 45, 0x34, 0, 0, 0, 1},
    };
}
