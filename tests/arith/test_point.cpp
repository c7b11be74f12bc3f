/* Every point operation over random headers, held against the naive model: depths, orders, regions inside, across and
 * outside the image, channels of interest, alpha, masks on any of the images, in place, tiles of differing sizes. */
#include "arith/point_table.h"

#include <gtest/gtest.h>

#include <math.h>
#include <stdlib.h>

/* ---- Random headers ---------------------------------------------------------------------------------------------- */

/* What all images of a call must agree in, or decide together. */
struct CallSpec {
    int slot;
    int32_t nColours; /* channels that take part */
    int32_t dataOrder;
    int32_t width, height; /* of all images, or 0 when they differ */
    bool isTiled, isAbs, ordersDiffer;
};

static std::unique_ptr<TestImage> drawImage(const CallSpec& call, Random& random)
{
    ImageSpec spec;
    spec.depth = slotDepths[call.slot];
    spec.dataOrder = call.ordersDiffer ? draw(random, 0, 1) : call.dataOrder;
    spec.width = call.width ? call.width : drawLength(random);
    spec.height = call.height ? call.height : drawLength(random);
    spec.align = draw(random, 0, 1) ? 4 : 8;
    spec.moreStep = draw(random, 0, 2) ? 0 : draw(random, 0, 9);
    spec.atEnd = draw(random, 0, 1);
    int32_t coi = 0;
    if (call.slot == OWN_1U) spec.nChannels = 1;
    else if (call.nColours == 1 && draw(random, 0, 1) && !call.isAbs) {
        spec.nChannels = draw(random, 1, 12);
        spec.hasAlpha = draw(random, 0, 1);
        coi = draw(random, 1, spec.nChannels);
    } else {
        spec.hasAlpha = call.isAbs ? call.width % 2 : draw(random, 0, 3) == 0;
        spec.nChannels = call.nColours + spec.hasAlpha;
    }
    /* A row may be too short for the width; what it holds is then all that there is. */
    if (!call.isTiled && draw(random, 0, 9) == 0) spec.moreStep = -draw(random, 0, (int)alignedRow(spec) - 1);
    auto image = std::make_unique<TestImage>(spec, random);
    if (coi || draw(random, 0, 1)) drawRegion(*image, random, coi);
    if (coi && !image->image.roi) image->setRoi(coi, 0, 0, spec.width, spec.height);
    if (draw(random, 0, 3) == 0) image->setMask(drawMask(image->image, random));
    return image;
}

/* ---- One call ------------------------------------------------------------------------------------------------------ */

/* One random call of one operation. Everything follows from the seed. */
static void runSeed(uint32_t seed)
{
    Random random(seed);
    const std::vector<PointOperation>& operations = pointOperations();
    const PointOperation& op = operations[random() % operations.size()];
    CallSpec call = {};
    do call.slot = draw(random, 0, OWN_DEPTHS - 1);
    while (!(op.slots >> call.slot & 1));
    call.isAbs = op.name == "vekAbs";
    call.ordersDiffer = (op.anyOrder >> call.slot & 1) && draw(random, 0, 1);
    call.nColours = call.slot == OWN_1U ? 1 : draw(random, 1, 4);
    if (draw(random, 0, 19) == 0 && call.slot != OWN_1U) call.nColours = 11;
    call.dataOrder = draw(random, 0, 1);
    call.isTiled = draw(random, 0, 2) == 0;
    if (call.isAbs || draw(random, 0, 1)) call.width = drawLength(random), call.height = drawLength(random);

    /* Distinct images, and which of them each argument is: sources, then the destination. */
    std::vector<std::unique_ptr<TestImage>> owned;
    for (int i = 0; i <= op.nSources; ++i) owned.push_back(drawImage(call, random));
    std::vector<int> argument;
    for (int i = 0; i <= op.nSources; ++i) argument.push_back(i);
    if (draw(random, 0, 3) == 0) argument[0] = op.nSources;
    if (op.nSources == 2 && draw(random, 0, 3) == 0) argument[1] = draw(random, 0, 1) ? 2 : argument[0];

    std::vector<std::unique_ptr<TiledImage>> tiled(owned.size());
    std::vector<ModelImage> images;
    for (const auto& image : owned) images.push_back({image.get()});
    for (size_t i = 0; call.isTiled && i < owned.size(); ++i)
        if (draw(random, 0, 1)) {
            images[i].tileWidth = 8 * draw(random, 1, 3);
            images[i].tileHeight = 8 * draw(random, 1, 2);
            tiled[i] = std::make_unique<TiledImage>(*owned[i], images[i].tileWidth, images[i].tileHeight);
        }

    std::vector<VekImage*> header;
    std::vector<ModelImage> model;
    std::string text = "seed " + std::to_string(seed) + ": " + op.name + " " + slotNames[call.slot];
    for (const int i : argument) {
        header.push_back(tiled[(size_t)i] ? &tiled[(size_t)i]->image : &owned[(size_t)i]->image);
        model.push_back(images[(size_t)i]);
        text += "\n  image " + std::to_string(i) + (tiled[(size_t)i] ? " tiled " : " ") +
                headerText(owned[(size_t)i]->image);
    }
    SCOPED_TRACE(text);

    std::vector<std::vector<uint8_t>> before;
    for (const auto& image : owned) before.push_back(image->bytes());
    const std::vector<uint8_t> expected = modelPoint(model, op.func);
    const int live = heapLive();
    Recorder recorder;
    op.call(header[0], op.nSources == 2 ? header[1] : nullptr, header.back());

    ASSERT_EQ(recorder.text(), "");
    ASSERT_EQ(vekGetErrStatus(), VEK_StatusOk);
    ASSERT_EQ(heapLive(), live);
    for (size_t i = 0; i < owned.size(); ++i) {
        ASSERT_EQ(differenceFrom((int)i == argument.back() ? expected : before[i], *owned[i]), "") << "image " << i;
        if (!tiled[i]) continue;
        ASSERT_FALSE(tiled[i]->isOpen()) << tiled[i]->logText();
        ASSERT_EQ(tiled[i]->logText().find("BAD"), std::string::npos) << tiled[i]->logText();
    }
}

/* VEK_SEED=45 in the environment runs that call alone. */
TEST(PointOperations, equalTheNaiveModel)
{
    if (const char* seed = getenv("VEK_SEED")) return runSeed((uint32_t)strtoul(seed, nullptr, 10));
    for (uint32_t seed = 1; seed <= 30000 && !HasFatalFailure(); ++seed) runSeed(seed);
}

/* ---- Cases that chance seldom meets -------------------------------------------------------------------------------- */

/* Tiles that are taken whole are blocks too: what lies beside the pixels of the source's tile goes to the padding of the
 * destination, and two data orders of one size meet in the order of memory. */
TEST(PointOperations, takeWholeTilesAsBlocks)
{
    const struct {
        uint32_t depth;
        int32_t nChannels, srcOrder, dstOrder;
    } rows[] = {{VEK_DEPTH_1U, 1, 0, 0}, {VEK_DEPTH_16S, 3, 0, 1}, {VEK_DEPTH_8S, 2, 1, 0}};
    for (const auto& row : rows)
        for (const bool dstTiled : {false, true}) {
            Random random(9);
            ImageSpec spec = {row.depth, row.nChannels, false, row.srcOrder, 24, 24};
            TestImage src(spec, random);
            src.setRoi(0, 8, 16, 8, 8);
            spec = {row.depth, row.nChannels, false, row.dstOrder, 8, 8};
            TestImage dst(spec, random);
            TiledImage tiledSrc(src, 8, 8), tiledDst(dst, 8, 8);
            const std::vector<ModelImage> images = {{&src, 8, 8}, {&dst, dstTiled ? 8 : 0, dstTiled ? 8 : 0}};
            const auto minus2 = [&](uint32_t depth, int64_t a, int64_t) {
                return depth == VEK_DEPTH_1U ? a : heldTo(ownSlot(depth), a - 2);
            };
            const std::vector<uint8_t> expected = modelPoint(images, minus2);
            vekSubtractS(&tiledSrc.image, dstTiled ? &tiledDst.image : &dst.image, 2, 0);
            EXPECT_EQ(differenceFrom(expected, dst), "") << row.depth << " " << dstTiled;
        }
}

TEST(PointOperations, passNaNOn)
{
    for (const PointOperation& op : pointOperations()) {
        if (!(op.slots >> OWN_32F & 1)) continue;
        Random random(1);
        ImageSpec spec;
        spec.depth = VEK_DEPTH_32F;
        TestImage a(spec, random), b(spec, random), dst(spec, random);
        for (int32_t x = 3; x < 16; ++x) setSample(a.image, a.block.data, x, 5, 0, bitsOf(x % 2 ? NAN : -NAN));
        Recorder recorder;
        op.call(&a.image, &b.image, &dst.image);
        for (int32_t x = 3; x < 16; ++x) EXPECT_TRUE(isnan(floatOf(dst.get(x, 5, 0)))) << op.name << " " << x;
        EXPECT_EQ(recorder.text(), "");
    }
}

/* ---- Headers that don't tell the truth about their rows -------------------------------------------------------------- */

/* A width that the rows can't hold, an imageSize of any value: only rows of widthStep bytes are read and written. The
 * pages around the blocks are the test. */
TEST(PointOperations, stayWithinTheRowsOfAnyHeader)
{
    for (uint32_t seed = 1; seed <= 6000; ++seed) {
        Random random(seed);
        const PointOperation& op = pointOperations()[random() % pointOperations().size()];
        int slot;
        do slot = draw(random, 0, OWN_DEPTHS - 1);
        while (!(op.slots >> slot & 1));
        const CallSpec call = {slot, slot == OWN_1U ? 1 : draw(random, 1, 3), draw(random, 0, 1), 21, 0, false, true,
                               false};
        std::vector<std::unique_ptr<TestImage>> images;
        std::vector<std::unique_ptr<GuardedBlock>> blocks;
        for (int i = 0; i <= op.nSources; ++i) {
            images.push_back(drawImage(call, random));
            VekImage& image = images.back()->image;
            const int planes = image.dataOrder == VEK_DATA_ORDER_PIXEL ? 1 : image.nChannels;
            image.widthStep = draw(random, 1, 20);
            image.height = draw(random, 1, 9);
            image.width = draw(random, 1, 1 << draw(random, 1, 30));
            if (draw(random, 0, 1)) image.imageSize = draw(random, 1, 1 << 30);
            blocks.push_back(
                std::make_unique<GuardedBlock>((size_t)(image.widthStep * image.height * planes), draw(random, 0, 1)));
            image.imageData = blocks.back()->data;
        }
        Recorder recorder;
        SCOPED_TRACE(seed);
        op.call(&images[0]->image, &images[1]->image, &images.back()->image);
        ASSERT_EQ(recorder.text(), "");
    }
}

/* Pixels far longer than their rows, so long that a row's bits are no 64-bit number: there is nothing to process. */
TEST(PointOperations, findNoPixelThatItsRowCannotHold)
{
    for (const PointOperation& op : pointOperations())
        for (int slot = OWN_8U; slot < OWN_DEPTHS; ++slot) {
            if (!(op.slots >> slot & 1)) continue;
            Random random(3);
            ImageSpec spec;
            spec.depth = slotDepths[slot];
            TestImage a(spec, random), b(spec, random), dst(spec, random);
            for (TestImage* test : {&a, &b, &dst}) {
                test->image.nChannels = test->image.width = 1 << 30;
                test->image.imageSize = 1; /* no block to be taken whole */
            }
            const std::vector<uint8_t> before = dst.bytes();
            Recorder recorder;
            op.call(&a.image, &b.image, &dst.image);
            ASSERT_EQ(recorder.text(), "") << op.name;
            ASSERT_EQ(dst.bytes(), before) << op.name << " slot " << slot;
        }
}

/* An imageSize beyond the rows is not believed, although the images agree in it. */
TEST(PointOperations, doNotTrustImageSize)
{
    for (const PointOperation& op : pointOperations()) {
        const int slot = op.slots & INTEGERS ? OWN_8S : OWN_32F;
        Random random(2);
        ImageSpec spec;
        spec.depth = slotDepths[slot];
        spec.width = 17;
        TestImage a(spec, random), b(spec, random), dst(spec, random);
        for (TestImage* test : {&a, &b, &dst}) test->image.imageSize += 8192;
        const std::vector<ModelImage> images = {{&a}, {&b}, {&dst}};
        const std::vector<uint8_t> expected = modelPoint(
            op.nSources == 2 ? images : std::vector<ModelImage>{{&a}, {&dst}}, op.func);
        op.call(&a.image, &b.image, &dst.image);
        ASSERT_EQ(differenceFrom(expected, dst), "") << op.name;
    }
}
