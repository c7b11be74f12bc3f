/* The complex transform by itself: every number of lanes gives the same, and what it gives is right. */
#include "frequency/ownfft.h"
#include "frequency/sums.h"

#include <gtest/gtest.h>

#include <math.h>

typedef std::unique_ptr<OwnFftPlan, void (*)(void*)> Plan;

static Plan makePlan(int32_t n, OwnFftKind kind) { return Plan(ownFftMake(n, kind), ownFree); }

/* n cells of random numbers, lane after lane the same for all kinds of lanes: number i of part p of lane l. */
template <class K> struct Cells {
    typedef typename K::Real R;
    OwnCell<K>* cells;
    explicit Cells(int64_t n) : cells((OwnCell<K>*)ownAlloc((size_t)(n * sizeof(OwnCell<K>)))) {}
    ~Cells() { ownFree(cells); }
    Cells(const Cells&) = delete;
    R& at(int64_t i, int part, int lane) { return ((R*)(cells + i))[part * K::lanes + lane]; }
};

/* Transforms in `K::lanes` lanes, in place or apart, against one lane at a time, bit for bit. */
template <class K> static void expectLanesAgree(int32_t n, OwnFftKind kind)
{
    typedef typename K::Real R;
    typedef OwnLanes<R, 1> One;
    const Plan plan = makePlan(n, kind);
    ASSERT_TRUE(plan);
    const int64_t nSpare = ownFftSpareCells(plan.get());
    Cells<K> in(n), out(n), spare(nSpare);
    Cells<One> one(n), spareOne(nSpare);
    Random random((uint32_t)n);
    std::uniform_real_distribution<R> numbers(-1, 1);
    for (int64_t i = 0; i < n; ++i)
        for (int lane = 0; lane < K::lanes; ++lane)
            in.at(i, 0, lane) = numbers(random), in.at(i, 1, lane) = numbers(random);
    ownFftRun(plan.get(), in.cells, out.cells, spare.cells);
    for (int lane = 0; lane < K::lanes; ++lane) {
        for (int64_t i = 0; i < n; ++i) one.cells[i] = {in.at(i, 0, lane), in.at(i, 1, lane)};
        ownFftRun(plan.get(), one.cells, one.cells, spareOne.cells);
        for (int64_t i = 0; i < n; ++i) {
            ASSERT_EQ(out.at(i, 0, lane), one.cells[i].re) << "n " << n << " [" << i << "] lane " << lane;
            ASSERT_EQ(out.at(i, 1, lane), one.cells[i].im) << "n " << n << " [" << i << "] lane " << lane;
        }
    }
}

TEST(Passes, lanesAgree)
{
    for (int32_t n = 1; n <= 1024; n *= 2) expectLanesAgree<OwnEight>(n, OWN_FFT_SINGLE);
    for (int32_t n = 1; n <= 120; ++n) expectLanesAgree<OwnFour>(n, OWN_FFT_DOUBLE);
    for (const int32_t n : {128, 210, 343, 512, 997}) expectLanesAgree<OwnFour>(n, OWN_FFT_DOUBLE);
}

/* The error, root mean square, relative to the exact transform. */
template <class R> static double errorOf(int32_t n, OwnFftKind kind)
{
    const Plan plan = makePlan(n, kind);
    Cells<OwnLanes<R, 1>> cells(n), spare(ownFftSpareCells(plan.get()));
    Grid<Complex> exact(n, 1);
    Random random((uint32_t)n);
    std::uniform_real_distribution<R> numbers(-1, 1);
    for (int32_t i = 0; i < n; ++i) {
        cells.cells[i] = {numbers(random), numbers(random)};
        exact(i, 0) = Complex(cells.cells[i].re, cells.cells[i].im);
    }
    exact = fourierSums(exact, -1);
    ownFftRun(plan.get(), cells.cells, cells.cells, spare.cells);
    Real less = 0, all = 0;
    for (int32_t i = 0; i < n; ++i) {
        less += std::norm(Complex(cells.cells[i].re, cells.cells[i].im) - exact(i, 0));
        all += std::norm(exact(i, 0));
    }
    return (double)sqrtl(less / all);
}

TEST(Passes, doubleIsAsExactAsDoubleCanBe)
{
    for (int32_t n = 1; n <= 130; ++n) EXPECT_LT(errorOf<double>(n, OWN_FFT_DOUBLE), 2e-15) << n;
    for (const int32_t n : {512, 991, 1000}) EXPECT_LT(errorOf<double>(n, OWN_FFT_DOUBLE), 2e-15) << n;
}

TEST(Passes, rootsAreExactAtTheEighths)
{
    for (const int64_t n : {8, 24, 1 << 20}) {
        const double axis[8] = {1, sqrt(0.5), 0, -sqrt(0.5), -1, -sqrt(0.5), 0, sqrt(0.5)};
        for (int k = 0; k < 8; ++k) {
            double c, s;
            ownFftRoot(k * n / 8, n, &c, &s);
            EXPECT_NEAR(c, axis[k], k % 2 ? 2e-16 : 0);
            EXPECT_NEAR(s, axis[(k + 6) % 8], k % 2 ? 2e-16 : 0);
        }
    }
}
