// SPDX-License-Identifier: MIT
// The table of the 40 area codes: everything that parser, frame builders, lists, decoder and store
// know about an area is in its row, and nowhere else.
#pragma once

constexpr int areaCount = 40;
constexpr int bitsPerWord = 16;

/// What one element of the area is to screens. It decides how host units become store units, and
/// how many bytes an element has.
enum class Element {
    Relay,   // a bit of a bit device; read as 16-bit words
    Contact, // of a timer or counter, one byte; read in double words
    Word,    // 16 bits
    DWord,   // 32 bits; the host counts 16-bit registers
    WordBit, // a bit inside a word
};

/// How an operator writes an address of the area.
enum class Form {
    ChannelBit, // "1012": decimal channel 10, two digits of bit
    Channel,    // "1012": channel 10, the bit digits dropped unread
    Hex,        // "1F3"
    HexWord,    // "1F3": word 1F, the bit digit dropped unread
    Decimal,    // "100"
    DotBit,     // "100.5": decimal word and bit
    HexDotBit,  // "1A.3": hexadecimal word, decimal bit
};

/// Layout of the values in a reply.
enum class Reply {
    None,    // no read request answers with this area
    Words,   // "00012 ": five digits and a separator
    DWords,  // "0000000012 ": ten digits and a separator
    Triples, // "1,0000000012,0000000100 ": contact, first value, second value, each with a separator
};

/// Characters of one value in a reply, its separator included.
constexpr int replyWidth(Reply layout)
{
    switch (layout) {
    case Reply::Triples:
        return 24;
    case Reply::DWords:
        return 11;
    case Reply::Words:
    case Reply::None:
        break;
    }
    return 6;
}

/// Which field of a triple the area's image is filled from.
enum class Field { None, Contact, First, Second };

/// How the area is written.
enum class Write {
    Never,     // a write is dropped
    Empty,     // an empty frame goes out: a timer as a whole has no write command
    Relay,     // "ST R205", "RS R205": channel and bit
    HexRelay,  // "ST B1af": the bit address
    Words,     // "WRS DM200.U 2 04660 00001"
    DWords,    // "WRS Z0.D 1 -000000001"
    BitOfWord, // read-modify-write of the word
};

struct Area {
    int code;
    const char *device; // as the PLC names it
    Element element;
    Form form;
    int readKey;  // the area whose read request brings this one's values
    int imageKey; // the area under which the store keeps them
    Reply reply;
    Field field;
    Write write;
    const char *operand; // printf: device, address, count of RDS and WRS
    const char *relay;   // printf: device, and channel and bit (Relay) or bit address (HexRelay) of ST and RS
};

/// Row of an area code; null outside 0..39.
const Area *findArea(int code);

/// All rows, for the few places that look for areas sharing a read key.
const Area *firstArea();
const Area *pastLastArea();

/// A read request exists for exactly those areas that are their own read key.
constexpr bool isReadable(const Area &area)
{
    return area.readKey == area.code;
}
