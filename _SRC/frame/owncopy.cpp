/* owncopy: samples from one place to another, as they are. */
#include "own.h"

OWN_TABLE(ownCopyRows) = {
    /*  1U */ ownCopyRow<1>,
    /*  8U */ ownCopyRow<1>,
    /*  8S */ ownCopyRow<1>,
    /* 16U */ ownCopyRow<2>,
    /* 16S */ ownCopyRow<2>,
    /* 32S */ ownCopyRow<4>,
    /* 32F */ ownCopyRow<4>,
};

OwnPoint ownCopyPoint(int sampleBits, const OwnChannels& from, const OwnChannels& to)
{
    OwnPoint point = {};
    point.nImages = 2;
    point.channels[0] = from;
    point.channels[1] = to;
    point.run = ownCopyRows[ownSlot((uint32_t)sampleBits)].run;
    point.paddingKept = point.copies = true;
    return point;
}

void ownCopyView(const OwnView& src, const OwnView& dst, const OwnChannels& from, const OwnChannels& to,
                 const OwnView* mask)
{
    const OwnView view[2] = {src, dst};
    ownTraverseViews(ownCopyPoint(dst.sampleBits, from, to), view, mask);
}

void ownCopyView(const OwnView& src, const OwnView& dst, int32_t nChannels)
{
    const OwnChannels all = {0, nChannels, false};
    ownCopyView(src, dst, all, all);
}
