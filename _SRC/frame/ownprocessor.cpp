/* ownprocessor: whether the processor has what the library was compiled for. Compiled for the base processor. */
#include "ownplat.h"

#include <stdio.h>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>

/* XCR0: the register states that the operating system saves. It can be read only where bit 27 of leaf 1 says so. */
static uint32_t ownOsState()
{
    uint32_t eax, ebx, ecx, edx;
    if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx) || !(ecx >> 27 & 1)) return 0;
    uint32_t low, high;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

static bool ownProcessorHas(const OwnNeed& need)
{
    uint32_t reg[4] = {};
    if (!__get_cpuid_count(need.leaf, 0, &reg[0], &reg[1], &reg[2], &reg[3])) return false;
    return (reg[need.reg] >> need.bit & 1) && (!need.osState || (ownOsState() & need.osState) == need.osState);
}
#else
/* A processor whose variants this check does not know. */
static bool ownProcessorHas(const OwnNeed&) { return true; }
#endif

const char* ownProcessorLacks(const OwnNeed* need)
{
    for (; need->name; ++need)
        if (!ownProcessorHas(*need)) return need->name;
    return nullptr;
}

bool ownProcessorFits()
{
    const char* lacking = ownProcessorLacks(ownVariant);
    if (!lacking) return true;
    fprintf(stderr, "VEK: this build of the library needs %s, which this processor or its operating system lacks.\n",
            lacking);
    return false;
}
