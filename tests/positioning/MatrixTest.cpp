// The least squares arithmetic: the Cholesky inverse against one known in
// closed form and its failure codes, the three products, storage reused
// rather than reallocated, and the removal rule that drops the last element.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "positioning/Matrix.h"

namespace {

CMatrix Make(const std::vector<std::vector<double>>& values) {
    CMatrix m;
    m.Resize(int(values.size()), int(values[0].size()), true);
    for (size_t i = 0; i < values.size(); ++i) std::copy(values[i].begin(), values[i].end(), m[int(i)]);
    return m;
}

// The Lehmer matrix min(i,j)/max(i,j) (from 1) has a tridiagonal inverse:
// 4i^3/(4i^2-1) on the diagonal (n^2/(2n-1) last), -i(i+1)/(2i+1) beside it.
TEST(Matrix, InvertsSymmetricMatricesInPlace) {
    constexpr int n = 8;
    CMatrix m;
    m.Resize(n, n, true);
    for (int i = 1; i <= n; ++i)
        for (int j = 1; j <= n; ++j) m[i - 1][j - 1] = double(std::min(i, j)) / std::max(i, j);
    int failedRow = 99;
    ASSERT_EQ(m.InvertSymmetric(0, failedRow), CMatrix::kInverted);
    EXPECT_EQ(failedRow, -1);
    for (int i = 1; i <= n; ++i) {
        for (int j = 1; j <= n; ++j) {
            const int k = std::min(i, j);
            double expected = std::abs(i - j) == 1 ? -double(k * (k + 1)) / (2 * k + 1) : 0.0;
            if (i == j) expected = i < n ? 4.0 * i * i * i / (4.0 * i * i - 1.0) : double(n * n) / (2 * n - 1);
            EXPECT_NEAR(m[i - 1][j - 1], expected, 1e-12) << i << "," << j;
        }
    }
    // An order below the size inverts the leading block and leaves the rest.
    CMatrix partial = Make({{4, 2, 7}, {2, 5, 8}, {7, 8, -9}});
    ASSERT_EQ(partial.InvertSymmetric(2, failedRow), CMatrix::kInverted);
    EXPECT_TRUE(partial[0][0] == 5.0 / 16 && partial[0][1] == -2.0 / 16 && partial[1][0] == -2.0 / 16);
    EXPECT_TRUE(partial[1][1] == 4.0 / 16 && partial[0][2] == 7 && partial[2][1] == 8 && partial[2][2] == -9);
}

TEST(Matrix, InversionTellsWhyItFailed) {
    int row = 0;
    CMatrix square = Make({{4, 1}, {1, 3}}), wide = Make({{1, 0, 0}, {0, 1, 0}}), empty;
    EXPECT_EQ(square.InvertSymmetric(3, row), CMatrix::kNotSquare);
    EXPECT_EQ(wide.InvertSymmetric(0, row), CMatrix::kNotSquare);
    EXPECT_EQ(empty.InvertSymmetric(0, row), CMatrix::kNoStorage);
    CMatrix negative = Make({{4, 0, 0}, {0, 1, 0}, {0, 0, -2}}), zero = Make({{4, 0}, {0, 1e-41}});
    EXPECT_EQ(negative.InvertSymmetric(0, row), CMatrix::kNegativeDiagonal);
    EXPECT_EQ(row, 2);
    EXPECT_EQ(zero.InvertSymmetric(0, row), CMatrix::kZeroDiagonal);
    CMatrix indefinite = Make({{1, 2}, {2, 1}}), singular = Make({{4, 2, 0}, {2, 1, 0}, {0, 0, 1}});
    EXPECT_EQ(indefinite.InvertSymmetric(0, row), CMatrix::kNegativePivot);
    EXPECT_EQ(singular.InvertSymmetric(0, row), CMatrix::kZeroPivot);
}

TEST(Matrix, MultipliesInThreeModes) {
    const CMatrix a = Make({{1, 2, 3}, {4, 5, 6}}), b = Make({{7, 8}, {9, 10}, {11, 12}});
    const CMatrix c = Make({{1, 0, 2}, {0, 1, -1}});
    CMatrix r = Make({{99, 99, 99}, {99, 99, 99}, {99, 99, 99}});
    ASSERT_EQ(CMatrix::Multiply(r, a, b, CMatrix::kAB), 0);
    EXPECT_TRUE(r.Rows() == 2 && r.Columns() == 2 && r[0][0] == 58 && r[0][1] == 64 && r[1][1] == 154);
    ASSERT_EQ(CMatrix::Multiply(r, a, c, CMatrix::kATransposedB), 0);
    EXPECT_TRUE(r.Rows() == 3 && r[0][1] == 4 && r[0][2] == -2 && r[2][0] == 3 && r[2][1] == 6 && r[2][2] == 0);
    ASSERT_EQ(CMatrix::Multiply(r, a, c, CMatrix::kABTransposed), 0);
    EXPECT_TRUE(r.Rows() == 2 && r.Columns() == 2 && r[0][0] == 7 && r[0][1] == -1 && r[1][0] == 16 && r[1][1] == -1);
    EXPECT_TRUE(CMatrix::Multiply(r, a, c, CMatrix::kAB) == 1 && CMatrix::Multiply(r, a, b, 3) == 1);

    CVector v, mv;
    v.Resize(3, true);
    v[0] = 1, v[1] = -1, v[2] = 2;
    ASSERT_TRUE(CMatrix::MultiplyVector(mv, a, v));
    EXPECT_TRUE(mv.Size() == 2 && mv[0] == 5 && mv[1] == 11 && !CMatrix::MultiplyVector(mv, b, v));
}

TEST(Matrix, ResizeWithinCapacityKeepsStorage) {
    CVector v;
    ASSERT_TRUE(v.Resize(5, false));
    for (int i = 0; i < 5; ++i) v[i] = i + 1;
    const double* storage = v.Data();
    ASSERT_TRUE(v.Resize(3, false) && v.Resize(5, false));
    EXPECT_TRUE(v.Data() == storage && v.Capacity() == 5 && v[4] == 5);   // without clear nothing changes
    ASSERT_TRUE(v.Resize(2, true) && v.Resize(5, false));
    EXPECT_TRUE(v.Data() == storage && v[0] == 0 && v[4] == 0);           // clear zeroes the whole capacity
    v[0] = 7;
    ASSERT_TRUE(v.Resize(6, false));                                      // growing drops the contents
    EXPECT_TRUE(v.Capacity() == 6 && v[0] == 0);

    CMatrix m = Make({{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}});
    const double* block = &m[0][0];
    ASSERT_TRUE(m.Resize(2, 3, false));
    EXPECT_TRUE(&m[0][0] == block && m[1][2] == 7);   // elements stay where they were
    ASSERT_TRUE(m.Resize(3, 2, true));
    EXPECT_TRUE(&m[0][0] == block && m[2][1] == 0 && m[0][0] == 0);
}

TEST(Matrix, RemovingDropsTheLastElement) {
    CVector v;
    const auto fill = [&v] {
        v.Resize(5, false);
        for (int i = 0; i < 5; ++i) v[i] = 'a' + i;
    };
    fill();
    ASSERT_TRUE(v.RemoveAt(1));
    EXPECT_TRUE(v.Size() == 4 && v[0] == 'a' && v[1] == 'c' && v[2] == 'd' && v[3] == 'd');
    fill();
    ASSERT_TRUE(v.RemoveAt(3));
    EXPECT_TRUE(v.Size() == 4 && v[2] == 'c' && v[3] == 'd' && !v.RemoveAt(4) && !v.RemoveAt(-1));

    CMatrix m = Make({{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}});
    ASSERT_TRUE(m.RemoveRow(1));
    EXPECT_TRUE(m.Rows() == 4 && m[1][1] == 3 && m[2][0] == 4 && m[3][1] == 4 && !m.RemoveRow(4));
}

}  // namespace
