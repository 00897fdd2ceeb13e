// SPDX-License-Identifier: MIT
#include "replies/decimal_field.h"

#include <QByteArray>

int decimalField(const char *text, int length)
{
    return QByteArray(text, length).toInt();
}
