// SPDX-License-Identifier: MIT
// Signals of a Plc come from an event loop: the tests of this room have one.
#include <gtest/gtest.h>

#include <QCoreApplication>

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
