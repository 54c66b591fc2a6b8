#pragma once
// The small vector and matrix classes of the least squares step. An epoch
// has tens of rows and at most eight columns, so the storage is one block
// with row pointers into it, and a resize that does not grow allocates
// nothing: the engine sizes them once and reuses them for every solve.
#include <cstdint>

class CVector {
public:
    CVector() = default;
    ~CVector();
    CVector(const CVector& other);
    CVector& operator=(const CVector& other);

    // Above the capacity the storage is replaced by a zeroed one of exactly
    // size elements and the old contents are gone. Otherwise only the size
    // changes, and clear zeroes the whole capacity. False when the
    // allocation failed (allocationFailed is then set and the size is 0).
    bool Resize(int newSize, bool clear);
    // Drops one element the way the design rows are dropped: the size goes
    // down by one and the elements from index up move down one place, but
    // only while the target stays below the new size less one. Removing
    // index 1 of a b c d e leaves a c d d. False out of range.
    bool RemoveAt(int index);

    int Size() const { return size; }
    int Capacity() const { return capacity; }
    double& operator[](int i) { return data[i]; }
    double operator[](int i) const { return data[i]; }
    double* Data() { return data; }
    const double* Data() const { return data; }

    int32_t allocationFailed = 0;

private:
    double* data = nullptr;
    int32_t size = 0;
    int32_t capacity = 0;
};

// Nine values in row order.
struct CMatrix3 {
    double m[9] = {};
    double& operator()(int row, int column) { return m[row * 3 + column]; }
    double operator()(int row, int column) const { return m[row * 3 + column]; }
    void Clear() { *this = CMatrix3{}; }
};

class CMatrix {
public:
    // Codes of InvertSymmetric.
    enum InvertResult : int {
        kInverted = 0,
        kNotSquare = 1,          // order above the row count, or not square
        kNoStorage = 2,
        kNegativeDiagonal = 3,   // at the start; failedRow names the row
        kZeroDiagonal = 4,       // |diagonal| below 1e-40 at the start
        kNegativePivot = 5,      // while factoring
        kZeroPivot = 6,          // |pivot| below 1e-40 while factoring
    };
    enum MultiplyMode : int { kAB = 0, kATransposedB = 1, kABTransposed = 2 };

    CMatrix() = default;
    ~CMatrix();
    CMatrix(const CMatrix& other);
    CMatrix& operator=(const CMatrix& other);

    // Above either capacity everything is replaced by zeroed storage of
    // exactly that shape. Otherwise the counts are set and clear zeroes the
    // rows. False when the allocation failed.
    bool Resize(int rows, int columns, bool clear);
    // The RemoveAt rule of CVector, row by row.
    bool RemoveRow(int row);

    // result = a b, a^T b or a b^T by mode; result is resized and zeroed
    // first. 1 on mismatched sizes or an unknown mode, else 0.
    static int Multiply(CMatrix& result, const CMatrix& a, const CMatrix& b, int mode);
    // result = m v; false on mismatched sizes.
    static bool MultiplyVector(CVector& result, const CMatrix& m, const CVector& v);

    // Cholesky inversion in place of a symmetric positive definite matrix:
    // the lower triangle is factored, inverted, multiplied by its transpose
    // and mirrored. order 0 or less means the whole matrix; failedRow is -1
    // unless a row is to blame.
    int InvertSymmetric(int order, int& failedRow);

    // Block copies of rows x columns values starting at (rowOffset,
    // columnOffset) of this matrix. The plain array is row order with the
    // given number of columns.
    void CopyTo(CMatrix3& target, int rowOffset = 0, int columnOffset = 0) const;
    void CopyFrom(const CMatrix3& source, int rowOffset = 0, int columnOffset = 0);
    void CopyTo(double* target, int rows, int columns, int rowOffset = 0, int columnOffset = 0) const;
    void CopyFrom(const double* source, int rows, int columns, int rowOffset = 0, int columnOffset = 0);

    int Rows() const { return rowCount; }
    int Columns() const { return columnCount; }
    int RowCapacity() const { return rowCapacity; }
    int ColumnCapacity() const { return columnCapacity; }
    double* operator[](int row) { return rows[row]; }
    const double* operator[](int row) const { return rows[row]; }

    int32_t allocationFailed = 0;

private:
    void Release();

    double** rows = nullptr;
    double* block = nullptr;
    int32_t rowCount = 0;
    int32_t columnCount = 0;
    int32_t rowCapacity = 0;
    int32_t columnCapacity = 0;
    int32_t blockSize = 0;
};
