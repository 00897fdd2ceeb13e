// SPDX-License-Identifier: MIT
// An address taken apart by its separators, before anybody asks what the parts mean.
#pragma once

#include <QString>

#include <array>
#include <string_view>

namespace kvlink
{

/// The parts of "DM100-DM109.S" or "DM100.STR:20" in capital letters. Holds its own text, so that
/// 100,000 addresses are taken apart without a heap; neither copied nor moved, since the
/// parts look into it.
class PlaceText
{
public:
    PlaceText() = default;
    PlaceText(const PlaceText &) = delete;
    PlaceText &operator=(const PlaceText &) = delete;

    std::string_view first;  ///< "DM100"
    std::string_view last;   ///< "DM109"; only with hasLast
    std::string_view format; ///< "S", "STR", "5"; only with hasFormat
    std::string_view count;  ///< "20"; only with hasCount
    bool hasLast = false;
    bool hasFormat = false;
    bool hasCount = false;

    /// \return false with a sentence without the address in front
    bool split(const QString &given, QString &problem);

private:
    bool takeLetters(const QString &given, QString &problem);
    bool refuseStation(QString &problem) const;
    bool splitCountAndFormat(QString &problem);
    bool splitLast(QString &problem);

    static constexpr int longest = 40; ///< twice the longest that means anything
    std::array<char, longest> m_letters{};
};

/// For the sentences of problems.
inline QString textOf(std::string_view letters)
{
    return QString::fromLatin1(letters.data(), int(letters.size()));
}

} // namespace kvlink
