// Numbers in the PLC's answers.
#pragma once

/// Value of a decimal field of at most 10 characters, exactly as QByteArray::toInt has it; 0 for what does
/// not convert, such as "0x1",
/// "" or "4294967295". Example: "00012" is 12, "-0001" is -1.
int decimalField(const char *text, int length);
