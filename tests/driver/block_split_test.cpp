// SPDX-License-Identifier: MIT
// The two steps of a rebuilding by themselves: sorting a group, and laying it into blocks.
#include "list_test.h"
#include "random_input.h"

#include <algorithm>

namespace
{
constexpr auto rowName = [](const auto &row) { return std::string(row.param.name); };

std::string allOf(const QList<RW_VAR> &list, std::string (*text)(const RW_VAR &))
{
    std::string all;
    for (int i = 0; i < list.size(); ++i)
        all += text(list.at(i)) + "\n";
    return all;
}

// --- sorting ---

class Sorting : public ListTest
{
protected:
    // Variables at these addresses; each knows its place in the input by its owner.
    static QList<RW_VAR> at(std::initializer_list<int> addresses)
    {
        QList<RW_VAR> list;
        for (const int address : addresses) {
            RW_VAR var = variable(AREA_DM, address, 1);
            var.ownerId = int(list.size());
            list.append(var);
        }
        return list;
    }

    // Addresses with the places they had: "1@2 5@0 5@1".
    static std::string order(const QList<RW_VAR> &list)
    {
        std::string text;
        for (int i = 0; i < list.size(); ++i)
            text += (i == 0 ? "" : " ") + std::to_string(list.at(i).address) + "@" +
                    std::to_string(list.at(i).ownerId);
        return text;
    }

    static std::string sorted(std::initializer_list<int> addresses)
    {
        QList<RW_VAR> list = at(addresses);
        Bubble_Sort(&list);
        return order(list);
    }

    // Two loops from the end; a smaller one moves up, equal ones stay.
    static void plainBubbleSort(QList<RW_VAR> &list)
    {
        const int n = int(list.size());
        for (int i = 1; i <= n - 1; ++i) {
            for (int j = n - 1; j >= i; --j) {
                if (list.at(j).address < list.at(j - 1).address)
                    list.swapItemsAt(j, j - 1);
            }
        }
    }
};

TEST_F(Sorting, isAscending)
{
    EXPECT_EQ(sorted({3, 1, 2}), "1@1 2@2 3@0");
    EXPECT_EQ(sorted({5, 4, 3, 2, 1}), "1@4 2@3 3@2 4@1 5@0");
    EXPECT_EQ(sorted({1, 2, 3}), "1@0 2@1 3@2");
}

TEST_F(Sorting, takesShortLists)
{
    EXPECT_EQ(sorted({}), "");
    EXPECT_EQ(sorted({7}), "7@0");
    EXPECT_EQ(sorted({8, 7}), "7@1 8@0");
    EXPECT_EQ(sorted({7, 7}), "7@0 7@1");
}

TEST_F(Sorting, equalAddressesKeepTheirOrder)
{
    EXPECT_EQ(sorted({5, 5, 1, 5, 1}), "1@2 1@4 5@0 5@1 5@3");
    EXPECT_EQ(sorted({2, 2, 2}), "2@0 2@1 2@2");
}

// Long enough for sorts that keep the order of short lists only.
TEST_F(Sorting, equalAddressesKeepTheirOrderInLongListsToo)
{
    EXPECT_EQ(
        sorted({1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0,
                1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0}),
        "0@1 0@3 0@5 0@7 0@9 0@11 0@13 0@15 0@17 0@19 0@21 0@23 0@25 0@27 0@29 0@31 0@33 0@35 0@37 0@39 "
        "1@0 1@2 1@4 1@6 1@8 1@10 1@12 1@14 1@16 1@18 1@20 1@22 1@24 1@26 1@28 1@30 1@32 1@34 1@36 1@38");
}

TEST_F(Sorting, takesTheWholeRangeOfAddresses)
{
    EXPECT_EQ(sorted({2147483647, 0, -2147483647 - 1, -1}), "-2147483648@2 -1@3 0@1 2147483647@0");
}

TEST_F(Sorting, looksAtTheAddressAlone)
{
    QList<RW_VAR> list;
    list.append(distinct(AREA_VM, 2, 1));
    list.append(distinct(AREA_R, 1, 9));
    list[0].station = 1;
    Bubble_Sort(&list);
    EXPECT_EQ(entries(list), "0 1 +9, 25 2 +1");
    EXPECT_EQ(allFields(list.at(0)), allFields(distinct(AREA_R, 1, 9)));
}

TEST_F(Sorting, leavesCopiesOfTheListAlone)
{
    QList<RW_VAR> list = at({3, 1, 2});
    const QList<RW_VAR> copy = list;
    Bubble_Sort(&list);
    EXPECT_EQ(order(copy), "3@0 1@1 2@2");
    EXPECT_EQ(order(list), "1@1 2@2 3@0");
}

TEST_F(Sorting, doesNothingWithoutAList)
{
    Bubble_Sort(nullptr);
}

TEST_F(Sorting, givesExactlyTheOrderOfABubbleSort)
{
    const unsigned seed = chosenSeed();
    Dice dice(seed);
    for (int round = 0; round < 300; ++round) {
        QList<RW_VAR> list;
        const int n = dice.between(0, 40);
        const int range = dice.between(0, 50);
        for (int i = 0; i < n; ++i) {
            RW_VAR var = variable(AREA_DM, dice.between(-range, range), dice.between(-1, 9));
            var.ownerId = i;
            list.append(var);
        }
        QList<RW_VAR> expected = list;
        plainBubbleSort(expected);
        Bubble_Sort(&list);
        ASSERT_EQ(order(list), order(expected)) << "seed " << seed << ", round " << round;
        ASSERT_EQ(entries(list), entries(expected)) << "seed " << seed << ", round " << round;
    }
}

// --- laying one group into blocks ---

// How the model below may be wrong, to show that the random groups would tell.
enum class Fault {
    None,
    ReachIsOneTooLong,    // a variable right behind the reach is absorbed
    GapsAreNotRead,       // a variable behind a gap opens a block
    RestBearsTheVariable, // blocks behind a grown one bear the fields of the variable
    BlockIsNotRemembered, // the reach is counted from the first block of the group
    GrowsTheGroupBefore,  // without a block of its own, the group grows the block before it
};

// The rule for one group, step by step: lastStart and lastCount tell the last block of the group.
class BlockModel
{
public:
    BlockModel(QList<RW_VAR> &readList, int maxLength, Fault fault)
        : m_blocks(readList), m_length(maxLength), m_fault(fault)
    {
    }

    void lay(const QList<RW_VAR> &group)
    {
        for (int i = 0; i < group.size(); ++i) {
            const RW_VAR &element = group.at(i);
            if (i > 0 && isWithinReach(element))
                extend(element);
            else
                open(element);
            remember();
        }
    }

private:
    bool isWithinReach(const RW_VAR &element) const
    {
        if (!m_opened && m_fault != Fault::GrowsTheGroupBefore)
            return false;
        if (m_fault == Fault::GapsAreNotRead && element.address > m_lastStart + m_lastCount)
            return false;
        const int reach = m_fault == Fault::ReachIsOneTooLong ? m_length + 1 : m_length;
        return element.address < m_lastStart + reach;
    }

    void extend(const RW_VAR &element)
    {
        const int end = element.address + element.count;
        if (m_lastStart + m_lastCount >= end || m_blocks.isEmpty())
            return;
        int need = end - m_lastStart;
        RW_VAR current = m_blocks.last();
        for (bool first = true; need > 0; first = false) {
            const int piece = m_length > need ? need : m_length;
            if (first) {
                m_blocks.last().count = piece;
                current = m_fault == Fault::RestBearsTheVariable ? element : m_blocks.last();
                current.address = m_blocks.last().address;
            } else {
                current.count = piece;
                m_blocks.append(current);
            }
            need -= piece;
            current.address += piece;
        }
    }

    void open(const RW_VAR &element)
    {
        RW_VAR current = element;
        int remaining = element.count;
        while (remaining > 0) {
            const int piece = m_length > remaining ? remaining : m_length;
            current.count = piece;
            m_blocks.append(current);
            m_opened = true;
            remaining -= piece;
            current.address += piece;
        }
    }

    void remember()
    {
        if (m_blocks.isEmpty() || (m_fault == Fault::BlockIsNotRemembered && m_lastCount != 0))
            return;
        m_lastStart = m_blocks.last().address;
        m_lastCount = m_blocks.last().count;
    }

    QList<RW_VAR> &m_blocks;
    const int m_length;
    const Fault m_fault;
    bool m_opened = false;
    int m_lastStart = 0;
    int m_lastCount = 0;
};

class BlockSplit : public ListTest
{
protected:
    // A DM variable with an owner of its own.
    static RW_VAR element(int address, int count, int ownerId)
    {
        RW_VAR var = distinct(AREA_DM, address, count);
        var.ownerId = ownerId;
        return var;
    }

    // Lays the group and tells the read list: "0 +64 (7)" with the owner in brackets.
    static std::string laid(QList<RW_VAR> group, int maxLength)
    {
        BitVarReCreat_3(&group, maxLength);
        std::string text;
        for (int i = 0; i < PLC_driver.readList.size(); ++i) {
            const RW_VAR &block = PLC_driver.readList.at(i);
            text += (i == 0 ? "" : ", ") + std::to_string(block.address) + " +" +
                    std::to_string(block.count) + " (" + std::to_string(block.ownerId) + ")";
        }
        return text;
    }

    struct Round {
        QList<RW_VAR> before, group;
        int maxLength = 1;
    };

    static RW_VAR randomVariable(Dice &dice, int area, int address)
    {
        RW_VAR var =
            distinct(area, address, dice.between(0, 9) == 0 ? dice.between(100, 200) : dice.between(-2, 12));
        var.ownerType = dice.between(0, 11);
        var.ownerId = dice.between(0, 999);
        var.addressText = QString::number(dice.between(0, 999));
        return var;
    }

    static Round randomRound(Dice &dice)
    {
        const int lengths[] = {1, 1, 2, 3, 8, 16, 64, 200};
        Round round;
        round.maxLength = lengths[dice.between(0, 7)];
        for (int i = dice.between(0, 2); i > 0; --i)
            round.before.append(element(dice.between(0, 150), dice.between(1, 20), -i));
        QList<int> addresses;
        const int range = dice.between(0, 3) * 50;
        for (int i = dice.between(0, 12); i > 0; --i)
            addresses.append(dice.between(0, range));
        std::sort(addresses.begin(), addresses.end());
        for (int i = 0; i < addresses.size(); ++i)
            round.group.append(randomVariable(dice, AREA_DM, addresses.at(i)));
        return round;
    }

    static std::string modelled(const Round &round, Fault fault)
    {
        QList<RW_VAR> blocks = round.before;
        BlockModel(blocks, round.maxLength, fault).lay(round.group);
        return allOf(blocks, allFields);
    }
};

TEST_F(BlockSplit, laysOutTheWorkedExample)
{
    EXPECT_EQ(laid({element(0, 1, 7), element(10, 2, 8), element(63, 4, 9), element(200, 1, 10)}, 64),
              "0 +64 (7), 64 +3 (7), 200 +1 (10)");
}

TEST_F(BlockSplit, anExtendedBlockAndItsRestBearTheFieldsOfTheBlock)
{
    EXPECT_EQ(laid({element(0, 1, 7), element(63, 130, 8)}, 64),
              "0 +64 (7), 64 +64 (7), 128 +64 (7), 192 +1 (7)");
    RW_VAR rest = element(192, 1, 7);
    EXPECT_EQ(allFields(PLC_driver.readList.at(3)), allFields(rest));
}

TEST_F(BlockSplit, anOpenedBlockAndItsRestBearTheFieldsOfTheVariable)
{
    EXPECT_EQ(laid({element(0, 1, 7), element(100, 130, 8)}, 64),
              "0 +1 (7), 100 +64 (8), 164 +64 (8), 228 +2 (8)");
    EXPECT_EQ(allFields(PLC_driver.readList.at(3)), allFields(element(228, 2, 8)));
}

TEST_F(BlockSplit, blocksOfOneCollapseDuplicates)
{
    EXPECT_EQ(laid({element(5, 1, 7), element(5, 1, 8), element(6, 2, 9)}, 1),
              "5 +1 (7), 6 +1 (9), 7 +1 (9)");
}

TEST_F(BlockSplit, blocksOfOneGoOnBehindTheLastUnit)
{
    EXPECT_EQ(laid({element(5, 3, 7), element(5, 4, 8)}, 1), "5 +1 (7), 6 +1 (7), 7 +1 (7), 8 +1 (7)");
}

TEST_F(BlockSplit, aLengthBelow1IsTakenAs1)
{
    EXPECT_EQ(laid({element(5, 2, 7)}, 0), "5 +1 (7), 6 +1 (7)");
    PLC_driver.readList.clear();
    EXPECT_EQ(laid({element(5, 1, 7), element(5, 2, 8)}, -64), "5 +1 (7), 6 +1 (7)");
}

TEST_F(BlockSplit, appendsBehindTheBlocksThatAreThere)
{
    PLC_driver.readList.append(element(0, 1, 1));
    EXPECT_EQ(laid({element(5, 2, 7)}, 64), "0 +1 (1), 5 +2 (7)");
}

TEST_F(BlockSplit, aGroupWithoutABlockOpensOneBesideTheGroupBefore)
{
    PLC_driver.readList.append(element(0, 1, 1));
    EXPECT_EQ(laid({element(5, 0, 7), element(5, -1, 8), element(6, 2, 9), element(20, 1, 10)}, 64),
              "0 +1 (1), 6 +15 (9)");
}

TEST_F(BlockSplit, aGroupWithoutABlockOpensOneInAnEmptyList)
{
    EXPECT_EQ(laid({element(5, 0, 7), element(6, 2, 8)}, 64), "6 +2 (8)");
    EXPECT_EQ(laid({}, 64), "6 +2 (8)");
}

TEST_F(BlockSplit, leavesTheGroupAndTheOtherListsAlone)
{
    QList<RW_VAR> group{element(0, 1, 7), element(63, 130, 8)};
    const std::string before = allOf(group, allFields);
    BitVarReCreat_3(&group, 64);
    EXPECT_EQ(allOf(group, allFields), before);
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
}

TEST_F(BlockSplit, doesNothingWithoutAGroup)
{
    PLC_driver.readList.append(element(0, 1, 1));
    BitVarReCreat_3(nullptr, 64);
    EXPECT_EQ(PLC_driver.readList.size(), 1);
}

// The caller holds the lock of the lists.
TEST_F(BlockSplit, takesNoLock)
{
    EXPECT_TRUE(doesWithout(PLC_driver.listMutex, [] { laid({element(5, 2, 7)}, 64); }));
    EXPECT_EQ(PLC_driver.readList.size(), 1);
}

TEST_F(BlockSplit, followsTheRuleStepByStepForRandomGroups)
{
    const unsigned seed = chosenSeed();
    Dice dice(seed);
    for (int i = 0; i < 2000; ++i) {
        const Round round = randomRound(dice);
        PLC_driver.readList = round.before;
        QList<RW_VAR> group = round.group;
        BitVarReCreat_3(&group, round.maxLength);
        ASSERT_EQ(allOf(PLC_driver.readList, allFields), modelled(round, Fault::None))
            << "seed " << seed << ", round " << i << ", length " << round.maxLength << ", group "
            << entries(round.group);
    }
}

struct FaultRow {
    const char *name;
    Fault fault;
};

class FaultInSplitting : public BlockSplit, public testing::WithParamInterface<FaultRow>
{
};

// The comparison above is worth something only if a wrong rule shows in it.
TEST_P(FaultInSplitting, wouldShowInTheRandomGroups)
{
    Dice dice(1);
    int different = 0;
    for (int i = 0; i < 2000; ++i) {
        const Round round = randomRound(dice);
        PLC_driver.readList = round.before;
        QList<RW_VAR> group = round.group;
        BitVarReCreat_3(&group, round.maxLength);
        different += allOf(PLC_driver.readList, allFields) != modelled(round, GetParam().fault) ? 1 : 0;
    }
    EXPECT_GT(different, 5);
}

INSTANTIATE_TEST_SUITE_P(In, FaultInSplitting,
                         testing::Values(FaultRow{"reach", Fault::ReachIsOneTooLong},
                                         FaultRow{"gaps", Fault::GapsAreNotRead},
                                         FaultRow{"fieldsOfTheRest", Fault::RestBearsTheVariable},
                                         FaultRow{"memory", Fault::BlockIsNotRemembered},
                                         FaultRow{"groups", Fault::GrowsTheGroupBefore}),
                         rowName);
} // namespace
