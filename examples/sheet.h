/* sheet: pictures that show all operations. */
#ifndef SHEET_H
#define SHEET_H

#include <stdio.h>

#include <string>

/* One sheet, FOLDER/contact-sheet.bmp. Returns the exit code. */
int runSheet(const std::string& folder, FILE* out, FILE* err);

/* For each operation a file with the scene and the rings after it, and FOLDER/pictures.bmp with the two before. Prints a
 * line for each: the file's name without its end, a tab, the steps. Returns the exit code. */
int runGallery(const std::string& folder, FILE* out, FILE* err);

#endif
