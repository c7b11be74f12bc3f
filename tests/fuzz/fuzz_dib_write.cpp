/* An image into a bitmap of any header, and back: dither and choice of a table, the image, the header, then what lies where
 * the table is. */
#include "fuzz_dib.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzReader in = {data, size};
    const int which = in.byte();
    FuzzImage image(in);
    BITMAPINFOHEADER info = fuzzHeader(in);
    if (which & 128)
        info.biWidth = image.image.width, info.biHeight = which & 64 ? image.image.height : -image.image.height;
    const size_t most = info.biBitCount <= 8 ? (size_t)4 << info.biBitCount : 0;
    const size_t table = std::max(most, fuzzTableBytes(ownOpenDib(&info)));
    const FuzzBlock dib = fuzzBlock(sizeof(info) + table + fuzzPixelBytes(info));
    memcpy(dib.get(), &info, sizeof(info));
    for (size_t i = 0; i < table + fuzzPixelBytes(info); ++i)
        dib.get()[sizeof(info) + i] = in.size ? in.data[i % in.size] : (uint8_t)i;
    BITMAPINFOHEADER* header = (BITMAPINFOHEADER*)dib.get();
    vekSetErrMode(VEK_ErrorModeNoReport);
    vekSetErrStatus(0);
    vekConvertToDIB(&image.image, header, which & 1 ? 8 : 1, which >> 1 & 3);
    if (vekGetErrStatus() == 0) {
        vekConvertFromDIB(header, &image.image);
        FUZZ_EXPECT(vekGetErrStatus() == 0);
    }
    vekSetErrStatus(0);
    return 0;
}

std::vector<FuzzBytes> fuzzSeeds()
{
    std::vector<FuzzBytes> seeds;
    const uint8_t kinds[] = {0, 1, 2, 3, 4, 5, 3 | 3 << 3, 5 | 3 << 3, 2 | 1 << 3, 1 | 2 << 3};
    for (const uint8_t which : {128, 192 | 1, 192 | 2, 192 | 4})
        for (const uint8_t kind : kinds)
            for (const uint8_t image : {4 | 1, 4 | 2, 12 | 2, 12 | 3, 0 | 1}) {
                const uint8_t form = (image & 3) == 1 ? 2 << 3 : image == (12 | 3) ? 64 : which & 1;
                FuzzBytes seed = {which, image, form, 5, 9, 6, kind, 0, 0, 0, 0, 0, 0, 0};
                for (int i = 0; i < 24; ++i) seed.push_back((uint8_t)(kind >> 3 == 3 ? 0x1F << i : i * 11));
                seeds.push_back(seed);
            }
    return seeds;
}
