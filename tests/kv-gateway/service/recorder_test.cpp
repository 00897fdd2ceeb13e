// SPDX-License-Identifier: MIT
// What the recorder hands to the store, and when.
#include "service/recorder.h"

#include "store/fake_clock.h"
#include "store/journal_reader.h"

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

// When the links come up, every tag changes at once.
TEST(Recorder, doesNotCollectTheLastValuesOfAWholePlant)
{
    constexpr int enough = 20'000;
    const QTemporaryDir folder;
    const MachineClock clock;
    StoreSettings settings;
    settings.folder = folder.path();
    Store store(settings, clock);
    QString problem;
    ASSERT_TRUE(store.start(problem)) << problem.toStdString();
    Recorder recorder(store);
    TagConfig tag;
    for (int i = 0; i < enough + 1; ++i) {
        tag.name = QStringLiteral("line1.t%1").arg(i);
        recorder.sampleChanged(tag, good(0, qint64(i)));
    }
    ASSERT_TRUE(store.flush(20s));
    const auto reader = JournalReader::open(folder.path(), problem);
    ASSERT_NE(reader, nullptr) << problem.toStdString();
    const auto values = reader->lastValues(problem);
    ASSERT_TRUE(values) << problem.toStdString();
    EXPECT_EQ(int(values->size()), enough);
}

} // namespace
} // namespace kvgateway
