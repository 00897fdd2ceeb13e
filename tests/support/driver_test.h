// SPDX-License-Identifier: MIT
// Base fixture of all driver tests: every test begins with a freshly reset driver, a settings block
// of its own and recording callbacks, and ends with a failure if a debug line or a callback came
// that it did not take.
#pragma once

#include <Communication_Protocol.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <iosfwd>
#include <string>
#include <vector>

// How GoogleTest shows Qt's types when a comparison fails.
void PrintTo(const QByteArray &bytes, std::ostream *out);
void PrintTo(const QString &text, std::ostream *out);

class DriverTest : public testing::Test
{
protected:
    DriverTest();
    ~DriverTest() override;
    void TearDown() override;

    // --- what the test sets up ---

    /// The settings block. Starts as: maxBlockLength 64, defaultStation 1, maxRetries 2,
    /// multiStation 1, commMode 2, callbackContext 77, all others 0 (so localLinkId 0: a plain
    /// RW_VAR is local).
    ComInfo settings;

    /// Marks a station's link as open, so that requests to it need no handshake.
    static void link(int station);

    /// A variable as it stands in the lists: owner 5 / 50, station 1, read (accessMode 0).
    static RW_VAR variable(int area, int address, int count, int station = 1);

    /// A write as it stands in writeList: as variable(), with accessMode 1 and data
    /// from hexadecimal digits.
    static RW_VAR write(int area, int address, int count, const char *dataHex, int station = 1);

    /// Bytes from hexadecimal digits, spaces ignored: bytes("0C 00 FF").
    static QByteArray bytes(const char *hex);

    /// A variable in which no two fields hold the same value:
    /// fields() shows it as: 1 2 3 4 5 6 "seven" "eight" 9 10 11 12 13 14 <0F 10>
    static RW_VAR numbered();

    // --- what the driver did ---

    /// All fields of a variable in their order, as shown at numbered().
    static std::string fields(const RW_VAR &var);

    /// Debug lines since the last call, in order.
    std::vector<std::string> takeLines();

    /// Callbacks since the last call, as text: "notify 77 5 50 1", "error 5 1 empty".
    std::vector<std::string> takeCallbacks();

    /// Frames waiting in frameQueue, as they stand.
    static std::vector<std::string> frames();

    /// Upper-case hexadecimal of bytes, with spaces between: "0C 00 FF".
    static std::string hex(const QByteArray &bytes);

    /// An image of the store as hexadecimal; "absent" if station or key is
    /// missing. Creates nothing.
    static std::string image(int station, int key);

    /// Part of an image as hexadecimal: length bytes from position first; "absent" as above.
    static std::string image(int station, int key, int first, int length);

    // --- one exchange as the host's loop does it ---

    /// ComCommunication: the frame to send, or "" when there is nothing to send.
    static std::string send();

    /// DataCom with these bytes and their number: the return code.
    static int answer(const char *reply);

    /// DataCom with length 0: the return code.
    static int noAnswer();

private:
    QtMessageHandler m_previousHandler;
};

using Lines = std::vector<std::string>;
