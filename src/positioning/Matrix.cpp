// CMatrix storage, products and block copies. The rows are pointers into
// one block with a stride of the column capacity, so that a resize within
// the capacity keeps every element where it was and allocates nothing.
#include <algorithm>
#include <new>

#include "positioning/Matrix.h"

namespace {

constexpr int kMatrix3Size = 3;

}  // namespace

CMatrix::~CMatrix() { Release(); }

CMatrix::CMatrix(const CMatrix& other) { *this = other; }

CMatrix& CMatrix::operator=(const CMatrix& other) {
    if (this == &other) return *this;
    if (!Resize(other.rowCount, other.columnCount, false)) return *this;
    for (int i = 0; i < rowCount; ++i) std::copy(other.rows[i], other.rows[i] + columnCount, rows[i]);
    return *this;
}

void CMatrix::Release() {
    delete[] rows;
    delete[] block;
    rows = nullptr;
    block = nullptr;
    rowCount = columnCount = rowCapacity = columnCapacity = blockSize = 0;
}

bool CMatrix::Resize(int newRows, int newColumns, bool clear) {
    newRows = std::max(newRows, 0);
    newColumns = std::max(newColumns, 0);
    if (newRows > rowCapacity || newColumns > columnCapacity) {
        Release();
        const long long elements = static_cast<long long>(newRows) * newColumns;
        if (elements > INT32_MAX) {
            allocationFailed = 1;
            return false;
        }
        rows = new (std::nothrow) double*[newRows];
        block = new (std::nothrow) double[elements]();
        if (rows == nullptr || block == nullptr) {
            Release();
            allocationFailed = 1;
            return false;
        }
        for (int i = 0; i < newRows; ++i) rows[i] = block + static_cast<long long>(i) * newColumns;
        rowCapacity = rowCount = newRows;
        columnCapacity = columnCount = newColumns;
        blockSize = static_cast<int32_t>(elements);
        return true;
    }
    rowCount = newRows;
    columnCount = newColumns;
    if (clear && block != nullptr) std::fill(block, block + blockSize, 0.0);
    return true;
}

bool CMatrix::RemoveRow(int row) {
    if (row < 0 || row >= rowCount) return false;
    --rowCount;
    // As CVector::RemoveAt: the old last row is dropped and the new last row
    // keeps its values; the design is rebuilt before it is read again.
    for (int i = row; i < rowCount - 1; ++i) std::copy(rows[i + 1], rows[i + 1] + columnCapacity, rows[i]);
    return true;
}

int CMatrix::Multiply(CMatrix& result, const CMatrix& a, const CMatrix& b, int mode) {
    // The product is written while a and b are read, so result may be
    // neither of them.
    if (&result == &a || &result == &b) return 1;
    int resultRows = 0, resultColumns = 0, inner = 0;
    switch (mode) {
    case kAB:
        if (a.columnCount != b.rowCount) return 1;
        resultRows = a.rowCount, resultColumns = b.columnCount, inner = a.columnCount;
        break;
    case kATransposedB:
        if (a.rowCount != b.rowCount) return 1;
        resultRows = a.columnCount, resultColumns = b.columnCount, inner = a.rowCount;
        break;
    case kABTransposed:
        if (a.columnCount != b.columnCount) return 1;
        resultRows = a.rowCount, resultColumns = b.rowCount, inner = a.columnCount;
        break;
    default:
        return 1;
    }
    if (!result.Resize(resultRows, resultColumns, true)) return 1;
    for (int i = 0; i < resultRows; ++i) {
        double* target = result.rows[i];
        for (int j = 0; j < resultColumns; ++j) {
            double sum = 0.0;
            if (mode == kAB) {
                for (int k = 0; k < inner; ++k) sum += a.rows[i][k] * b.rows[k][j];
            } else if (mode == kATransposedB) {
                for (int k = 0; k < inner; ++k) sum += a.rows[k][i] * b.rows[k][j];
            } else {
                for (int k = 0; k < inner; ++k) sum += a.rows[i][k] * b.rows[j][k];
            }
            target[j] = sum;
        }
    }
    return 0;
}

bool CMatrix::MultiplyVector(CVector& result, const CMatrix& m, const CVector& v) {
    if (m.columnCount != v.Size() || &result == &v) return false;
    if (!result.Resize(m.rowCount, false)) return false;
    for (int i = 0; i < m.rowCount; ++i) {
        double sum = 0.0;
        for (int k = 0; k < m.columnCount; ++k) sum += m.rows[i][k] * v[k];
        result[i] = sum;
    }
    return true;
}

void CMatrix::CopyTo(CMatrix3& target, int rowOffset, int columnOffset) const {
    CopyTo(target.m, kMatrix3Size, kMatrix3Size, rowOffset, columnOffset);
}

void CMatrix::CopyFrom(const CMatrix3& source, int rowOffset, int columnOffset) {
    CopyFrom(source.m, kMatrix3Size, kMatrix3Size, rowOffset, columnOffset);
}

// A block that does not lie wholly inside the matrix is not copied at all:
// half a covariance is worse than none.
void CMatrix::CopyTo(double* target, int blockRows, int blockColumns, int rowOffset, int columnOffset) const {
    if (target == nullptr || blockRows < 0 || blockColumns < 0 || rowOffset < 0 || columnOffset < 0) return;
    if (rowOffset + blockRows > rowCount || columnOffset + blockColumns > columnCount) return;
    for (int i = 0; i < blockRows; ++i) {
        const double* row = rows[rowOffset + i] + columnOffset;
        std::copy(row, row + blockColumns, target + static_cast<long long>(i) * blockColumns);
    }
}

void CMatrix::CopyFrom(const double* source, int blockRows, int blockColumns, int rowOffset, int columnOffset) {
    if (source == nullptr || blockRows < 0 || blockColumns < 0 || rowOffset < 0 || columnOffset < 0) return;
    if (rowOffset + blockRows > rowCount || columnOffset + blockColumns > columnCount) return;
    for (int i = 0; i < blockRows; ++i) {
        const double* from = source + static_cast<long long>(i) * blockColumns;
        std::copy(from, from + blockColumns, rows[rowOffset + i] + columnOffset);
    }
}
