#include "store/decimal_field.h"

#include <QByteArray>

#include <limits>

int decimalField(const char *text, int length)
{
    qint64 value = 0;
    for (int i = 0; i < length; ++i) {
        const unsigned digit = static_cast<unsigned char>(text[i]) - unsigned('0');
        if (digit > 9)
            return QByteArray(text, length)
                .toInt(); // blanks, signs and what is no number at all: as Qt has it
        value = value * 10 + int(digit);
    }
    return value <= std::numeric_limits<int>::max() ? int(value) : 0;
}
