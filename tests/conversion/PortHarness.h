#pragma once
// Opens the decoder port with a message recorder and feeds it bytes, as the
// driver does, keeping every non-zero result.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "conversion/PortArray.h"
#include "rawfile/GnssEpoch.h"
#include "simulation/UbxWriter.h"

namespace convtest {

using Lines = std::vector<std::string>;

struct RecordedMessage {
    int level;
    double time;
    std::string text;
};

class PortTest : public ::testing::Test {
protected:
    void SetUp() override { Reopen(); }
    void TearDown() override { ublox2trv::ClosePort(); }

    // A fresh port, as at the start of a conversion, that reports every
    // message.
    void Reopen() {
        messages().clear();
        ASSERT_EQ(ublox2trv::OpenPort(Record, &epoch), 0);
        DecoderOptions options{2, 1, 0};
        ublox2trv::SetPortOptions(&options, sizeof options);
    }

    // The non-zero results of the bytes, as (byte index, result).
    std::vector<std::pair<size_t, int>> Feed(const simulation::Bytes& bytes) {
        std::vector<std::pair<size_t, int>> results;
        for (size_t i = 0; i < bytes.size(); ++i)
            if (int r = ublox2trv::DecodeByte(bytes[i], &record)) results.emplace_back(i, r);
        return results;
    }

    // The single non-zero result of the bytes, or 0 when none.
    int FeedOne(const simulation::Bytes& bytes) {
        auto results = Feed(bytes);
        EXPECT_LE(results.size(), 1u);
        return results.empty() ? 0 : results.back().second;
    }

    static std::vector<RecordedMessage>& messages() {
        static std::vector<RecordedMessage> list;
        return list;
    }
    static Lines Texts() {
        Lines texts;
        for (const auto& m : messages()) texts.push_back(m.text);
        return texts;
    }

    CGnssEpoch epoch;
    StationRecord record{};

private:
    static void Record(int level, double time, const char* text) { messages().push_back({level, time, text}); }
};

}  // namespace convtest
