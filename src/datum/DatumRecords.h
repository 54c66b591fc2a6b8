#pragma once
// Ellipsoids and datums as the datum files name them, and the built-in
// WGS84 that every computation runs on.
#include <cstdint>

struct DatumEllipse {
    char name[32];
    double a;          // semi-major axis, metres
    double b;          // semi-minor axis, metres
    double f;          // inverse flattening as read, or 0
    int32_t userCount;
};

struct DatumRecord {
    char name[32];
    char ellipseName[32];
    int16_t userCount;
    uint16_t halId;    // 0xFFFF when the file gives none
    uint16_t enable;
    const DatumEllipse* ellipse;
};

extern const DatumEllipse kWgs84Ellipse;
extern const DatumRecord kWgs84Datum;
