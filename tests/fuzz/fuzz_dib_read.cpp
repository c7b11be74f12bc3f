/* A bitmap of any header into an image, by each of the functions that read one: which, the image, the header, then the table
 * and the pixels or the stream. */
#include "fuzz_dib.h"

/* The whole bitmap; what the input lacks is 0, and behind a stream come ends of the picture. */
static FuzzBlock makeBitmap(const BITMAPINFOHEADER& info, FuzzReader& in, size_t* pixelsAt, size_t* nBytes)
{
    const size_t table = fuzzTableBytes(ownOpenDib(&info));
    const bool isStream = info.biCompression == OWN_DIB_RLE8 || info.biCompression == OWN_DIB_RLE4;
    *pixelsAt = sizeof(info) + table;
    *nBytes = *pixelsAt + (isStream ? in.size + in.size % 2 + 260 : fuzzPixelBytes(info));
    FuzzBlock block = fuzzBlock(*nBytes);
    memcpy(block.get(), &info, sizeof(info));
    const size_t given = std::min(in.size, *nBytes - sizeof(info));
    for (size_t i = sizeof(info); i < *nBytes; ++i)
        block.get()[i] = i - sizeof(info) < given ? in.data[i - sizeof(info)] : isStream ? (uint8_t)(i & 1) : 0;
    return block;
}

static uint32_t sumOf(const VekImage* image)
{
    uint32_t sum = 0;
    for (int32_t i = 0; i < image->imageSize; ++i) sum += image->imageData[i];
    return sum;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzReader in = {data, size};
    const int which = in.byte();
    FuzzImage image(in);
    const BITMAPINFOHEADER info = fuzzHeader(in);
    size_t pixelsAt, nBytes;
    const FuzzBlock dib = makeBitmap(info, in, &pixelsAt, &nBytes);
    const BITMAPINFOHEADER* header = (const BITMAPINFOHEADER*)dib.get();
    vekSetErrMode(VEK_ErrorModeNoReport);
    vekSetErrStatus(which & 64 ? -7 : 0);
    if (which % 3 == 0 && (fuzzPixelBytes(info) || info.biWidth < 1)) {
        int32_t isClone;
        VekImage* made = vekTranslateDIB((BITMAPINFOHEADER*)dib.get(), &isClone);
        FUZZ_EXPECT(made || vekGetErrStatus() < 0);
        volatile uint32_t sum = made ? sumOf(made) : 0;
        (void)sum;
        vekDeallocate(made, VEK_IMAGE_HEADER | VEK_IMAGE_DATA);
    } else if (which % 3 == 1) vekConvertFromDIB(header, &image.image);
    else if (which % 3 == 2) {
        const FuzzBlock pixels = fuzzBlock(nBytes - pixelsAt), table = fuzzBlock(pixelsAt);
        memcpy(pixels.get(), dib.get() + pixelsAt, nBytes - pixelsAt);
        memcpy(table.get(), dib.get(), pixelsAt);
        vekSetErrStatus(0);
        const VekStatus status = vekConvertFromDIBSep((const BITMAPINFOHEADER*)table.get(), pixels.get(), &image.image);
        FUZZ_EXPECT((status == 0) == (vekGetErrStatus() == 0));
    }
    vekSetErrStatus(0);
    return 0;
}

std::vector<FuzzBytes> fuzzSeeds()
{
    std::vector<FuzzBytes> seeds;
    /* Each bit count, plain, by masks, as a stream; upright and not; into each kind of image. */
    const uint8_t kinds[] = {0, 1, 2, 3, 4, 5, 3 | 3 << 3, 5 | 3 << 3, 2 | 1 << 3, 1 | 2 << 3};
    for (uint8_t which = 0; which < 3; ++which)
        for (const uint8_t kind : kinds)
            for (const uint8_t image : {4 | 1, 4 | 2, 12 | 3, 0 | 1}) {
                const uint8_t form = image & 2 ? (uint8_t)(which & 1) : 2 << 3;
                FuzzBytes seed = {which, image, form, 0, 9, 6, kind, 0, 9, 0, 6, 0, 0, 0};
                if (which == 1 && !(kind >> 3)) seed[10] = 0xFA, seed[11] = 0xFF; /* -6 rows */
                for (int i = 0; i < 24; ++i) seed.push_back((uint8_t)(kind >> 3 == 3 ? 0x1F << i : i * 11));
                if (kind >> 3 == 1 || kind >> 3 == 2)
                    for (int i = 0; i < 6; ++i) seed.insert(seed.end(), {9, (uint8_t)(i * 40), 0, (uint8_t)(i == 5)});
                seeds.push_back(seed);
            }
    return seeds;
}
