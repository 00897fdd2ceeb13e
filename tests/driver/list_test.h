// SPDX-License-Identifier: MIT
// What the tests of the variable lists share: entries as readable text, and a look at the locks
// after each test.
#pragma once

#include "driver_test.h"

#include <chrono>
#include <functional>
#include <future>
#include <thread>

class ListTest : public DriverTest
{
protected:
    // A call that leaves a mutex locked on one of its ways out would hang the next one.
    void TearDown() override
    {
        EXPECT_TRUE(isFree(PLC_driver.listMutex)) << "listMutex is still held";
        EXPECT_TRUE(isFree(PLC_driver.storeMutex)) << "storeMutex is still held";
        EXPECT_TRUE(isFree(PLC_driver.stationMutex)) << "stationMutex is still held";
        EXPECT_TRUE(isFree(PLC_driver.storageControlMutex)) << "storageControlMutex is still held";
        DriverTest::TearDown();
    }

    static bool isFree(QMutex &mutex)
    {
        const bool taken = mutex.tryLock();
        if (taken)
            mutex.unlock();
        return taken;
    }

    /// True if the call, made on another thread, does not get through while the mutex is held here.
    static bool waitsFor(QMutex &mutex, const std::function<void()> &call)
    {
        return !finishesWhileHeld(mutex, call, std::chrono::milliseconds(50));
    }

    /// True if the call, made on another thread, gets through although the mutex is held here.
    static bool doesWithout(QMutex &mutex, const std::function<void()> &call)
    {
        return finishesWhileHeld(mutex, call, std::chrono::seconds(10));
    }

    /// Entries as "area address +count", joined by ", ".
    static std::string entries(const QList<RW_VAR> &list)
    {
        std::string text;
        for (int i = 0; i < list.size(); ++i) {
            const RW_VAR &var = list.at(i);
            text += (i == 0 ? "" : ", ") + std::to_string(var.area) + " " + std::to_string(var.address) +
                    " +" + std::to_string(var.count);
        }
        return text;
    }

    /// Entries with their values: "10 100 +2 [0C 00 FF 00]"; more than 8 bytes as their number.
    static std::string entriesWithData(const QList<RW_VAR> &list)
    {
        std::string text;
        for (int i = 0; i < list.size(); ++i) {
            const QByteArray &data = list.at(i).data;
            const std::string shown = data.size() > 8 ? std::to_string(data.size()) + " bytes" : hex(data);
            text += (i == 0 ? "" : ", ") + entries({list.at(i)}) + " [" + shown + "]";
        }
        return text;
    }

    /// Every field by name, so that a failing comparison shows which one differs.
    static std::string allFields(const RW_VAR &var)
    {
        const auto number = [](const char *name, int value) {
            return std::string(name) + "=" + std::to_string(value) + " ";
        };
        return number("ownerType", var.ownerType) + number("ownerId", var.ownerId) +
               number("accessMode", var.accessMode) + number("field3", var.field3) +
               number("linkId", var.linkId) + number("result", var.result) +
               "extraText=" + var.extraText.toStdString() + " addressText=" + var.addressText.toStdString() +
               " " + number("area", var.area) + number("address", var.address) +
               number("station", var.station) + number("count", var.count) +
               number("preReadMark", var.preReadMark) + number("field13", var.field13) +
               "data=" + hex(var.data);
    }

    /// A record in which no two fields hold the same value: a field that is lost or swapped shows.
    static RW_VAR distinct(int area, int address, int count)
    {
        RW_VAR var;
        var.ownerType = 501;
        var.ownerId = 502;
        var.accessMode = 503;
        var.field3 = 504;
        var.linkId = 505;
        var.result = 506;
        var.extraText = "extra";
        var.addressText = "typed";
        var.area = area;
        var.address = address;
        var.station = 507;
        var.count = count;
        var.preReadMark = 508;
        var.field13 = 509;
        var.data = bytes("51 0A");
        return var;
    }

private:
    static bool finishesWhileHeld(QMutex &mutex, const std::function<void()> &call,
                                  std::chrono::milliseconds patience)
    {
        mutex.lock();
        std::packaged_task<void()> task(call);
        std::future<void> done = task.get_future();
        std::thread worker(std::move(task));
        const bool finished = done.wait_for(patience) == std::future_status::ready;
        mutex.unlock();
        worker.join();
        return finished;
    }
};
