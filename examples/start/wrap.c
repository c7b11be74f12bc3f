/* Your own buffer, worked on where it lies: a frame of 24-bit pixels, as a camera driver hands it out, is blurred in
 * place and turned to gray in an array beside it. Nothing is copied in or out. */
#include <stdio.h>
#include <string.h>
#include <vek.h>

enum { WIDTH = 24, HEIGHT = 8, FRAME_STEP = 96 }; /* the driver leaves a gap behind the 72 bytes of each row */

int main(void)
{
    static uint8_t frame[HEIGHT][FRAME_STEP];
    static uint8_t gray[HEIGHT][WIDTH];
    VekImage *colour, *plain;
    int x, y;

    for (y = 2; y < 6; ++y) memset(frame[y] + 3 * 4, 255, 3 * 16); /* a white bar */

    vekRedirectError(vekStdErrReport);  /* failures go to the standard error stream, */
    vekSetErrMode(VEK_ErrorModeParent); /* and the program goes on */

    colour = vekCreateImageHeader(3, 0, VEK_DEPTH_8U, "RGB\0", "BGR\0", VEK_DATA_ORDER_PIXEL, VEK_ORIGIN_TOP_LEFT, 4,
                                  WIDTH, HEIGHT, NULL, NULL, NULL, NULL);
    plain = vekCreateImageHeader(1, 0, VEK_DEPTH_8U, "GRAY", "G\0\0\0", VEK_DATA_ORDER_PIXEL, VEK_ORIGIN_TOP_LEFT, 4,
                                 WIDTH, HEIGHT, NULL, NULL, NULL, NULL);
    if (!colour || !plain) return 1;

    colour->imageData = frame[0]; /* the header made room for rows without gaps: say how it really is */
    colour->widthStep = FRAME_STEP;
    colour->imageSize = sizeof frame;
    plain->imageData = gray[0];

    vekBlur(colour, colour, 5, 3, 2, 1); /* the mean of 5 by 3 pixels, its middle on the pixel */
    vekColorToGray(colour, plain);
    if (vekGetErrStatus() < 0) return 1;

    for (y = 0; y < HEIGHT; ++y) {
        for (x = 0; x < WIDTH; ++x) putchar(" .:-=+%#@"[gray[y][x] * 8 / 255]);
        putchar('\n');
    }
    vekDeallocateHeader(colour); /* the headers only: the pixels are ours */
    vekDeallocateHeader(plain);
    return 0;
}

/* Prints:
                        
   ..::::::::::::::..   
  .:-=++++++++++++=-:.  
  .-=%############%=-.  
  .-=%############%=-.  
  .:-=++++++++++++=-:.  
   ..::::::::::::::..   
                        
*/
