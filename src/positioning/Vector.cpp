// CVector: one owned array that only ever grows, so that the engine's
// per-epoch resizes cost nothing once the largest epoch has been seen.
#include <algorithm>
#include <new>

#include "positioning/Matrix.h"

CVector::~CVector() { delete[] data; }

CVector::CVector(const CVector& other) { *this = other; }

CVector& CVector::operator=(const CVector& other) {
    if (this == &other) return *this;
    if (!Resize(other.size, false)) return *this;
    std::copy(other.data, other.data + other.size, data);
    return *this;
}

bool CVector::Resize(int newSize, bool clear) {
    if (newSize < 0) newSize = 0;
    if (newSize > capacity) {
        delete[] data;
        data = new (std::nothrow) double[newSize]();
        if (data == nullptr) {
            allocationFailed = 1;
            size = capacity = 0;
            return false;
        }
        capacity = size = newSize;
        return true;
    }
    size = newSize;
    if (clear) std::fill(data, data + capacity, 0.0);
    return true;
}

bool CVector::RemoveAt(int index) {
    if (index < 0 || index >= size) return false;
    --size;
    // The move stops one short of the new end: the old last element is
    // dropped and the new last place keeps what it held. The solve rebuilds
    // its rows before it reads them again, so nothing better is needed.
    for (int i = index; i < size - 1; ++i) data[i] = data[i + 1];
    return true;
}
