// SPDX-License-Identifier: MIT
// Tags that come in pieces: a value only when all pieces came in order, with the time of the first.
#include "engine/piece_gatherer.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

constexpr int dm = 10; // area codes of the driver
constexpr int em = 11;
constexpr int relays = 0;

EngineTag tagOf(const char *address)
{
    QString problem;
    EngineTag tag;
    tag.tag = Tag(1);
    tag.place = parsePlace(QString::fromLatin1(address), problem).value_or(Place());
    return tag;
}

// Words from \a first on, each holding the number of its unit.
UnitBlock piece(int area, int first, int count)
{
    UnitBlock block{area, first, count, {}, {}, {}, {}};
    for (int unit = first; unit < first + count; ++unit) {
        block.whole.append(char(unit));
        block.whole.append('\0');
    }
    return block;
}

Moment moment(int second)
{
    return {SteadyTime(1s * second), WallTime(1s * second)};
}

class Pieces : public ::testing::Test
{
protected:
    std::string text() const { return book.sample(slot).toText().toStdString(); }
    void take(const UnitBlock &block, int second) { pieces.take(book, slot, block, moment(second), false); }

    ValueBook book{Coding()};
    PieceGatherer pieces;
    ValueBook::Slot slot = book.add(tagOf("DM3:6"));
};

TEST_F(Pieces, makeAValueWhenTheLastOneCameWithTheTimeOfTheFirst)
{
    take(piece(dm, 3, 4), 1);
    EXPECT_EQ(book.sample(slot).quality, Quality::Never);
    take(piece(dm, 7, 2), 2);
    EXPECT_EQ(text(), "3,4,5,6,7,8");
    EXPECT_EQ(book.sample(slot).steadyTime, SteadyTime(1s));
    EXPECT_EQ(book.sample(slot).time, WallTime(1s));
}

TEST_F(Pieces, withoutTheOneBeforeThemAreDropped)
{
    take(piece(dm, 5, 2), 1); // nothing came before it
    take(piece(dm, 7, 2), 1);
    take(piece(dm, 3, 2), 2);
    take(piece(dm, 7, 2), 2); // 5 and 6 are missing
    EXPECT_EQ(book.sample(slot).quality, Quality::Never);
    take(piece(dm, 5, 2), 3); // now they come
    take(piece(dm, 7, 2), 3);
    EXPECT_EQ(text(), "3,4,5,6,7,8");
}

TEST_F(Pieces, ofAnotherDeviceAreDropped)
{
    take(piece(em, 3, 4), 1);
    take(piece(em, 7, 2), 1);
    EXPECT_EQ(book.sample(slot).quality, Quality::Never);
}

TEST_F(Pieces, beginAgainWithTheFirst)
{
    take(piece(dm, 3, 4), 1);
    take(piece(dm, 3, 4), 5);
    take(piece(dm, 7, 2), 6);
    EXPECT_EQ(book.sample(slot).steadyTime, SteadyTime(5s));
}

TEST_F(Pieces, areForgottenWithTheirTagOrAll)
{
    take(piece(dm, 3, 4), 1);
    pieces.forget(slot);
    take(piece(dm, 7, 2), 2);
    take(piece(dm, 3, 4), 3);
    pieces.clear();
    take(piece(dm, 7, 2), 4);
    EXPECT_EQ(book.sample(slot).quality, Quality::Never);
}

TEST_F(Pieces, ofATagThatWasRemovedAreDropped)
{
    take(piece(dm, 3, 4), 1);
    book.remove(slot);
    take(piece(dm, 7, 2), 2);
    EXPECT_TRUE(book.changes().empty());
}

// R14 to R201: bits 14 and 15 of channel 0, all of channel 1, bits 0 and 1 of channel 2.
TEST_F(Pieces, ofBitsMayBeginAndEndInsideAWord)
{
    slot = book.add(tagOf("R14-R201"));
    take({relays, 0, 1, QByteArray("\x00\x80", 2), {}, {}, {}}, 1);         // bit 15
    take({relays, 1, 2, QByteArray("\x01\x80\x02\xFF", 4), {}, {}, {}}, 1); // bits 0 and 15, then bit 1
    EXPECT_EQ(text(), "0,1,"
                      "1,0,0,0,0,0,0,0,0,0,0,0,0,0,0,1,"
                      "0,1");
}

} // namespace
} // namespace kvlink
