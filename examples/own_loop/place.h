// SPDX-License-Identifier: MIT
// A place in the PLC, as a screen names it ("DM100", "DM100.S", "DM100.D", "DM100.5", "R500"): what
// the driver is asked for, and how its bytes become a number.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

struct Place {
    enum Format { Bit, Unsigned, Signed, Double };

    QString name;
    Format format = Unsigned;
    int area = 0;        ///< of the driver's calls
    QString addressText; ///< of the driver's calls
    int address = 0;     ///< what the driver makes of the text
    int count = 1;       ///< of the driver's calls: bits or words

    // Where its value comes from: the words that the driver's read requests name.
    int readKey = 0;
    int firstWord = 0;
    int words = 1;

    /// \return nothing if this example does not know such an address
    static std::optional<Place> parse(const QString &name);

    /// \param bytes as GetRegisterData fills them
    qint64 valueOf(const QByteArray &bytes) const;
    /// \return the bytes for SetRegisterData; nothing if the value does not fit
    std::optional<QByteArray> bytesOf(qint64 value) const;
};
