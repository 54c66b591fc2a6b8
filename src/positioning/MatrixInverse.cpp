// Cholesky inversion in place of the normal matrix of the least squares step.
// The normal matrix is symmetric and, for a usable geometry, positive
// definite; anything else is told apart by the code returned, so that the
// engine can give up on the epoch instead of using a meaningless inverse.
#include <cmath>

#include "positioning/Matrix.h"

namespace {

// A diagonal element or pivot this small means a singular geometry.
constexpr double kSingularLimit = 1e-40;

}  // namespace

int CMatrix::InvertSymmetric(int order, int& failedRow) {
    failedRow = -1;
    if (order > rowCount || rowCount != columnCount) return kNotSquare;
    if (block == nullptr) return kNoStorage;
    const int n = order <= 0 ? rowCount : order;
    double** a = rows;

    for (int i = 0; i < n; ++i) {
        if (a[i][i] < 0.0) {
            failedRow = i;
            return kNegativeDiagonal;
        }
        if (std::fabs(a[i][i]) < kSingularLimit) {
            failedRow = i;
            return kZeroDiagonal;
        }
    }

    // Factor A = L L^T into the lower triangle; the upper one still holds A
    // and is overwritten only by the mirror at the end.
    for (int j = 0; j < n; ++j) {
        double pivot = a[j][j];
        for (int k = 0; k < j; ++k) pivot -= a[j][k] * a[j][k];
        if (pivot < 0.0) {
            failedRow = j;
            return kNegativePivot;
        }
        if (std::fabs(pivot) < kSingularLimit) {
            failedRow = j;
            return kZeroPivot;
        }
        const double diagonal = std::sqrt(pivot);
        a[j][j] = diagonal;
        for (int i = j + 1; i < n; ++i) {
            double sum = a[i][j];
            for (int k = 0; k < j; ++k) sum -= a[i][k] * a[j][k];
            a[i][j] = sum / diagonal;
        }
    }

    // Invert L column by column from the left. Column j of the inverse
    // needs the rows of L from column j rightwards, which are still L, and
    // the part of column j already inverted above the row.
    for (int j = 0; j < n; ++j) {
        a[j][j] = 1.0 / a[j][j];
        for (int i = j + 1; i < n; ++i) {
            double sum = 0.0;
            for (int k = j; k < i; ++k) sum += a[i][k] * a[k][j];
            a[i][j] = -sum / a[i][i];
        }
    }

    // A^-1 = L^-T L^-1. Element (i, j), j <= i, reads rows i and below of
    // L^-1, and row i only at columns j and i, so the rows are done from the
    // top and each row from the left with its diagonal last.
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j <= i; ++j) {
            double sum = 0.0;
            for (int k = i; k < n; ++k) sum += a[k][i] * a[k][j];
            a[i][j] = sum;
        }
    }
    for (int i = 0; i < n; ++i) {
        for (int j = i + 1; j < n; ++j) a[i][j] = a[j][i];
    }
    return kInverted;
}
