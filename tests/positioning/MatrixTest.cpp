// The least squares arithmetic: the Cholesky inverse against inverses known in
// closed form, its failure codes, the three products, storage that is reused
// rather than reallocated, and the removal rule that drops the last element.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "positioning/Matrix.h"

namespace {

CMatrix Make(const std::vector<std::vector<double>>& values) {
    CMatrix m;
    m.Resize(static_cast<int>(values.size()), static_cast<int>(values[0].size()), true);
    for (size_t i = 0; i < values.size(); ++i)
        for (size_t j = 0; j < values[i].size(); ++j) m[static_cast<int>(i)][j] = values[i][j];
    return m;
}

// The Lehmer matrix min(i,j)/max(i,j) (from 1) has a tridiagonal inverse:
// 4i^3/(4i^2-1) on the diagonal (n^2/(2n-1) last), -i(i+1)/(2i+1) beside it.
TEST(Matrix, InvertsSymmetricMatricesInPlace) {
    constexpr int n = 8;
    CMatrix lehmer;
    lehmer.Resize(n, n, true);
    for (int i = 1; i <= n; ++i)
        for (int j = 1; j <= n; ++j) lehmer[i - 1][j - 1] = double(std::min(i, j)) / std::max(i, j);
    int failedRow = 99;
    ASSERT_EQ(lehmer.InvertSymmetric(0, failedRow), CMatrix::kInverted);
    EXPECT_EQ(failedRow, -1);
    for (int i = 1; i <= n; ++i) {
        for (int j = 1; j <= n; ++j) {
            double expected = 0.0;
            if (i == j) expected = i < n ? 4.0 * i * i * i / (4.0 * i * i - 1.0) : double(n * n) / (2 * n - 1);
            else if (j == i + 1) expected = -double(i * (i + 1)) / (2 * i + 1);
            else if (i == j + 1) expected = -double(j * (j + 1)) / (2 * j + 1);
            EXPECT_NEAR(lehmer[i - 1][j - 1], expected, 1e-12) << i << "," << j;
        }
    }

    const std::vector<std::vector<double>> spd = {{10, 2, -3, 1}, {2, 8, 1, -2}, {-3, 1, 9, 4}, {1, -2, 4, 7}};
    CMatrix a = Make(spd), inverse = Make(spd), product;
    ASSERT_EQ(inverse.InvertSymmetric(4, failedRow), CMatrix::kInverted);
    ASSERT_EQ(CMatrix::Multiply(product, a, inverse, CMatrix::kAB), 0);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) EXPECT_NEAR(product[i][j], i == j ? 1.0 : 0.0, 1e-12);

    // An order below the size inverts the leading block and leaves the rest.
    CMatrix partial = Make({{4, 2, 7}, {2, 5, 8}, {7, 8, -9}});
    ASSERT_EQ(partial.InvertSymmetric(2, failedRow), CMatrix::kInverted);
    EXPECT_NEAR(partial[0][0], 5.0 / 16, 1e-15);
    EXPECT_NEAR(partial[0][1], -2.0 / 16, 1e-15);
    EXPECT_NEAR(partial[1][0], -2.0 / 16, 1e-15);
    EXPECT_NEAR(partial[1][1], 4.0 / 16, 1e-15);
    EXPECT_TRUE(partial[0][2] == 7 && partial[2][1] == 8 && partial[2][2] == -9);
}

TEST(Matrix, InversionTellsWhyItFailed) {
    int failedRow = 0;
    CMatrix square = Make({{4, 1}, {1, 3}}), wide = Make({{1, 0, 0}, {0, 1, 0}}), empty;
    EXPECT_EQ(square.InvertSymmetric(3, failedRow), CMatrix::kNotSquare);
    EXPECT_EQ(wide.InvertSymmetric(0, failedRow), CMatrix::kNotSquare);
    EXPECT_EQ(empty.InvertSymmetric(0, failedRow), CMatrix::kNoStorage);

    CMatrix negative = Make({{4, 0, 0}, {0, 1, 0}, {0, 0, -2}});
    EXPECT_EQ(negative.InvertSymmetric(0, failedRow), CMatrix::kNegativeDiagonal);
    EXPECT_EQ(failedRow, 2);
    CMatrix zero = Make({{4, 0}, {0, 1e-41}});
    EXPECT_EQ(zero.InvertSymmetric(0, failedRow), CMatrix::kZeroDiagonal);
    CMatrix indefinite = Make({{1, 2}, {2, 1}});
    EXPECT_EQ(indefinite.InvertSymmetric(0, failedRow), CMatrix::kNegativePivot);
    // Two rows in the same direction: the normal matrix is singular.
    CMatrix singular = Make({{4, 2, 0}, {2, 1, 0}, {0, 0, 1}});
    EXPECT_EQ(singular.InvertSymmetric(0, failedRow), CMatrix::kZeroPivot);
    EXPECT_EQ(failedRow, 1);
}

TEST(Matrix, MultipliesInThreeModes) {
    const CMatrix a = Make({{1, 2, 3}, {4, 5, 6}});        // 2 x 3
    const CMatrix b = Make({{7, 8}, {9, 10}, {11, 12}});   // 3 x 2
    const CMatrix c = Make({{1, 0, 2}, {0, 1, -1}});       // 2 x 3
    CMatrix r = Make({{99, 99, 99}, {99, 99, 99}, {99, 99, 99}});
    ASSERT_EQ(CMatrix::Multiply(r, a, b, CMatrix::kAB), 0);
    EXPECT_TRUE(r.Rows() == 2 && r.Columns() == 2);
    EXPECT_TRUE(r[0][0] == 58 && r[0][1] == 64 && r[1][0] == 139 && r[1][1] == 154);
    ASSERT_EQ(CMatrix::Multiply(r, a, c, CMatrix::kATransposedB), 0);   // 3 x 3
    EXPECT_TRUE(r.Rows() == 3 && r.Columns() == 3);
    EXPECT_TRUE(r[0][0] == 1 && r[0][1] == 4 && r[0][2] == -2 && r[2][0] == 3 && r[2][1] == 6 && r[2][2] == 0);
    ASSERT_EQ(CMatrix::Multiply(r, a, c, CMatrix::kABTransposed), 0);   // 2 x 2
    EXPECT_TRUE(r.Rows() == 2 && r.Columns() == 2);
    EXPECT_TRUE(r[0][0] == 7 && r[0][1] == -1 && r[1][0] == 16 && r[1][1] == -1);

    EXPECT_EQ(CMatrix::Multiply(r, a, c, CMatrix::kAB), 1);
    EXPECT_EQ(CMatrix::Multiply(r, a, b, 3), 1);

    CVector v, mv;
    v.Resize(3, true);
    v[0] = 1, v[1] = -1, v[2] = 2;
    ASSERT_TRUE(CMatrix::MultiplyVector(mv, a, v));
    EXPECT_TRUE(mv.Size() == 2 && mv[0] == 5 && mv[1] == 11);
    EXPECT_FALSE(CMatrix::MultiplyVector(mv, b, v));
}

TEST(Matrix, ResizeWithinCapacityKeepsStorage) {
    CVector v;
    ASSERT_TRUE(v.Resize(5, false));
    for (int i = 0; i < 5; ++i) v[i] = i + 1;
    const double* storage = v.Data();
    ASSERT_TRUE(v.Resize(3, false));
    EXPECT_TRUE(v.Data() == storage && v.Size() == 3 && v.Capacity() == 5 && v[2] == 3);
    ASSERT_TRUE(v.Resize(5, false));
    EXPECT_EQ(v[4], 5);                  // without clear the old values are still there
    ASSERT_TRUE(v.Resize(2, true));
    ASSERT_TRUE(v.Resize(5, false));
    EXPECT_TRUE(v.Data() == storage && v[0] == 0 && v[4] == 0);   // clear zeroes the whole capacity
    v[0] = 7;
    ASSERT_TRUE(v.Resize(6, false));     // growing does not keep the contents
    EXPECT_TRUE(v.Capacity() == 6 && v[0] == 0);

    CMatrix m = Make({{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}});
    const double* block = &m[0][0];
    ASSERT_TRUE(m.Resize(2, 3, false));
    EXPECT_TRUE(&m[0][0] == block && m[1][2] == 7);   // elements stay where they were
    ASSERT_TRUE(m.Resize(3, 2, true));
    EXPECT_TRUE(&m[0][0] == block && m[2][1] == 0 && m[0][0] == 0);
    ASSERT_TRUE(m.Resize(2, 5, false));
    EXPECT_TRUE(m.Rows() == 2 && m.Columns() == 5 && m[1][4] == 0);

    CMatrix copy = m;
    copy[0][0] = 42;
    EXPECT_EQ(m[0][0], 0);
}

TEST(Matrix, RemovingDropsTheLastElement) {
    CVector v;
    auto fill = [&v] {
        v.Resize(5, false);
        for (int i = 0; i < 5; ++i) v[i] = 'a' + i;
    };
    fill();
    ASSERT_TRUE(v.RemoveAt(1));
    EXPECT_TRUE(v.Size() == 4 && v[0] == 'a' && v[1] == 'c' && v[2] == 'd' && v[3] == 'd');
    fill();
    ASSERT_TRUE(v.RemoveAt(3));
    EXPECT_TRUE(v.Size() == 4 && v[2] == 'c' && v[3] == 'd');
    EXPECT_FALSE(v.RemoveAt(4) || v.RemoveAt(-1));

    CMatrix m = Make({{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}});
    ASSERT_TRUE(m.RemoveRow(1));
    EXPECT_TRUE(m.Rows() == 4 && m[1][1] == 3 && m[2][0] == 4 && m[3][1] == 4);
    ASSERT_TRUE(m.RemoveRow(3));
    EXPECT_TRUE(m.Rows() == 3 && m[2][0] == 4);
    EXPECT_FALSE(m.RemoveRow(3));
}

}  // namespace
