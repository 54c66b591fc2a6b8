// Satellite states per second from the ephemeris store, for each of the
// five constellations, and .epp records read per second.
#include <benchmark/benchmark.h>

#include <string>

#include "ephemeris/EphemerisFile.h"
#include "ephemeris/EphemerisGLO.h"
#include "ephemeris/EphemerisStore.h"
#include "ephemeris/Samples.h"
#include "support/TestPaths.h"

namespace {

constexpr int kGpsWeek = 2300;
constexpr int kFirstToe = 345600;
// tb 10800, 03:00 Moscow time, is 00:00:18 GPS time on the GPS toe's day.
constexpr int kGlonassTb = 10800;
constexpr double kGlonassGpsSeconds = 345618.0;
constexpr double kReceiver[3] = {3655336.0, 1403577.0, 5018472.0};

GloEphemerisRecord GlonassAt(int prn, int tb, double gpsSeconds) {
    GloEphemerisRecord r = sample::Glonass();
    r.prn = prn;
    r.tb = tb;
    r.tk = tb - 900;
    r.gpsWeek = kGpsWeek;
    r.gpsSeconds = gpsSeconds;
    r.hasReceptionTime = true;
    r.receptionTime = kGpsWeek * 604800.0 + gpsSeconds - 30.0;
    return r;
}

// A store with the sample record of each constellation, and its satellite.
struct OneSatellite {
    SatelliteId satellite;
    GpsTime reference;
};

OneSatellite Fill(CEphemerisStore& store, GnssConstellation constellation) {
    switch (constellation) {
        case kGps: store.AddGps(sample::Gps()); return {{kGps, 5}, {kGpsWeek, 345600.0}};
        case kQzss: store.AddQzss(sample::QzssQuasiZenith()); return {{kQzss, 2}, {kGpsWeek, 349200.0}};
        case kGalileo: store.AddGalileo(sample::Galileo()); return {{kGalileo, 11}, {kGpsWeek, 345000.0}};
        case kBeiDou: store.AddBeiDou(sample::BeiDouMeo()); return {{kBeiDou, 23}, {kGpsWeek, 345614.0}};
        default:
            store.Insert(kGlonass, 9, new GNSS::CEphemerisGLO(GlonassAt(9, kGlonassTb, kGlonassGpsSeconds)));
            return {{kGlonass, 9}, {kGpsWeek, kGlonassGpsSeconds}};
    }
}

void BM_SatelliteState(benchmark::State& state) {
    const auto constellation = static_cast<GnssConstellation>(state.range(0));
    CEphemerisStore store;
    const OneSatellite one = Fill(store, constellation);
    double position[3], velocity[3], clock = 0.0;
    double offset = -900.0;
    for (auto _ : state) {
        // A new time each call, within the record's validity, as epochs come.
        offset = offset < 900.0 ? offset + 1.0 : -900.0;
        const bool ok = store.ComputeSatelliteState(one.satellite, one.reference + offset, kReceiver, 2.2e7,
                                                    position, velocity, clock);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(position);
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel(std::string(1, ConstellationLetter(constellation)));
}
BENCHMARK(BM_SatelliteState)->DenseRange(kGps, kGalileo);

// A day of records: every GPS, Galileo, BeiDou and QZSS satellite every two
// hours, every GLONASS satellite every half hour.
int FillDay(CEphemerisStore& store) {
    int records = 0;
    for (int toe = kFirstToe; toe < kFirstToe + 86400; toe += 7200) {
        for (int prn = 1; prn <= HighestPrn(kGps); ++prn) {
            GpsEphemerisRecord r = sample::Gps();
            r.prn = prn;
            r.elements.toe = r.elements.toc = toe;
            records += store.AddGps(r);
        }
        for (int prn = 1; prn <= HighestPrn(kGalileo); ++prn) {
            GalEphemerisRecord r = sample::Galileo();
            r.prn = static_cast<int16_t>(prn);
            r.elements.toe = r.elements.toc = r.iNavToc = toe;
            records += store.AddGalileo(r);
        }
        for (int prn = 6; prn <= HighestPrn(kBeiDou); ++prn) {
            BdsEphemerisRecord r = sample::BeiDouMeo();
            r.prn = prn;
            r.elements.toe = r.elements.toc = toe;
            records += store.AddBeiDou(r);
        }
        for (int prn = 1; prn <= HighestPrn(kQzss); ++prn) {
            QzssEphemerisRecord r = sample::QzssQuasiZenith();
            r.prn = prn;
            r.elements.toe = r.elements.toc = toe;
            records += store.AddQzss(r);
        }
    }
    for (int step = 0; step < 48; ++step)
        for (int prn = 1; prn <= HighestPrn(kGlonass); ++prn) {
            const int tb = (kGlonassTb + 1800 * step) % 86400;
            store.Insert(kGlonass, prn,
                         new GNSS::CEphemerisGLO(GlonassAt(prn, tb, kGlonassGpsSeconds + 1800.0 * step)));
            ++records;
        }
    return records;
}

void BM_LoadEphemerisFile(benchmark::State& state) {
    static ubxtest::TempDir dir;
    const std::string path = dir.File("day.epp");
    int written = 0;
    {
        CEphemerisStore store;
        FillDay(store);
        written = SaveEphemerisFile(store, path.c_str(), false, "BENCH", "BENCH");
    }
    CEphemerisStore store;
    for (auto _ : state) {
        const bool ok = LoadEphemerisFile(store, path.c_str(), true);
        benchmark::DoNotOptimize(ok);
    }
    state.SetItemsProcessed(state.iterations() * written);
    state.counters["records"] = written;
}
BENCHMARK(BM_LoadEphemerisFile)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
