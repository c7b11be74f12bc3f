/* A part of an image: a region of interest, which is a rectangle, and a mask, which has a bit for each pixel. What lies
 * outside keeps its values. */
#include <stdio.h>
#include <vek.h>

enum { WIDTH = 32, HEIGHT = 12 };

int main(void)
{
    VekImage* mask = vekCreateImageHeader(1, 0, VEK_DEPTH_1U, "GRAY", "G\0\0\0", VEK_DATA_ORDER_PIXEL,
                                          VEK_ORIGIN_TOP_LEFT, 4, WIDTH, HEIGHT, NULL, NULL, NULL, NULL);
    VekImage* image = vekCreateImageHeader(1, 0, VEK_DEPTH_8U, "GRAY", "G\0\0\0", VEK_DATA_ORDER_PIXEL,
                                           VEK_ORIGIN_TOP_LEFT, 4, WIDTH, HEIGHT, NULL, NULL, NULL, NULL);
    VekROI region = {0, 3, 1, 26, 10}; /* all channels; from column 3, row 1; 26 columns, 10 rows */
    int x, y;

    vekRedirectError(vekStdErrReport);
    vekSetErrMode(VEK_ErrorModeParent);
    if (!mask || !image) return 1;
    vekAllocateImage(mask, 1, 0);
    vekAllocateImage(image, 1, 0);
    if (!mask->imageData || !image->imageData) return 1;

    /* The pixels of an ellipse: the leftmost of eight is the top bit of a byte. */
    for (y = 0; y < HEIGHT; ++y)
        for (x = 0; x < WIDTH; ++x) {
            const double dx = (x - 15.5) / 15, dy = (y - 5.5) / 6;
            if (dx * dx + dy * dy < 1) mask->imageData[y * mask->widthStep + x / 8] |= (uint8_t)(0x80 >> x % 8);
        }

    image->maskROI = mask;
    vekSet(image, 1); /* the ellipse */
    mask->roi = image->roi = &region;
    vekAddS(image, image, 1); /* the ellipse inside the rectangle */
    image->maskROI = NULL;
    vekAddS(image, image, 2); /* the rectangle, corners and all */
    if (vekGetErrStatus() != VEK_StatusOk) return 1;

    for (y = 0; y < HEIGHT; ++y) {
        for (x = 0; x < WIDTH; ++x) putchar(".oxx#"[image->imageData[y * image->widthStep + x]]);
        putchar('\n');
    }
    vekDeallocate(image, VEK_IMAGE_HEADER | VEK_IMAGE_DATA);
    vekDeallocate(mask, VEK_IMAGE_HEADER | VEK_IMAGE_DATA);
    return 0;
}

/* Prints:
..........oooooooooooo..........
...xxx####################xxx...
...x########################x...
..o##########################o..
.oo##########################oo.
.oo##########################oo.
.oo##########################oo.
.oo##########################oo.
..o##########################o..
...x########################x...
...xxx####################xxx...
..........oooooooooooo..........
*/
