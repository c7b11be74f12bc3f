/* operations: what the command line of the example can name, a row each. */
#ifndef OPERATIONS_H
#define OPERATIONS_H

#include "vek.h"

#include <string>
#include <vector>

/* How an operation meets the picture. All work in place, so src and dst are one image. */
enum Shape {
    ONE_PICTURE,
    TWO_PICTURES, /* with a second picture: a file, or the rings */
    AS_FLOAT,     /* on a 32F copy, which is then brought back, held to 0 .. 255 */
    AS_SIGNED     /* the bytes taken as signed numbers */
};

/* The numbers that follow an operation's name. */
struct Numbers {
    std::vector<double> values;
    float real() const { return (float)values[0]; }
    int32_t whole() const { return (int32_t)(int64_t)values[0]; }
    uint32_t bits() const { return (uint32_t)(int64_t)values[0]; }
};

struct Operation {
    const char* name;
    Shape shape;
    int nNumbers;
    const char* formula;
    const char* sample; /* a use of it that shows something, for the contact sheet */
    void (*run)(const VekImage* src, const VekImage* second, VekImage* dst, const Numbers& n);
};

extern const Operation operations[];
extern const int nOperations;

/* The row with a name, or null. */
const Operation* findOperation(const std::string& name);

#endif
