// SPDX-License-Identifier: MIT
// A session of host calls and replies, chosen by bytes and compared with the plain model
// after every step.
#pragma once

#include "driver_fuzz.h"

#include "driver_model.h"

/// Where the words of the settings block come from.
enum class Settings { Sensible, Any };

class Session
{
public:
    Session(Input &bytes, Settings kind);

    /// Plays all bytes; ends the run if driver and model differ anywhere.
    void play();

private:
    // what calls are made of
    int area();
    int station();
    int count();
    int ownerType();
    int ownerId();
    std::string addressText(int ofArea);
    model::Var variable();
    int settingsWord(int word);

    // steps
    void step();
    void exchange();
    void exchanges();
    void ask();
    void timeOut();
    void silence();
    void cannedReply();
    void anyReply();
    void spoiltReply();
    void setRegister();
    void addWrite();
    void addOnceRead();
    void addRead();
    void rebuild();
    void getRegister();
    void parse();
    void switchStation();
    void changeSetting();
    void handOver();
    void fillLists();

    // the line
    void answer(const std::string &reply, int length);
    std::string goodReply();
    std::string value(int width);
    std::string digits(int number);

    // comparison
    void setWord(int word, int value);
    void compare(const std::string &call);
    void compareReturned(const std::string &call, int driver, int expected);
    bool crowded() const;

    Input &m_input;
    Settings m_kind;
    /// The host's block, to the byte: a word read or written beyond it is noticed.
    std::unique_ptr<ComInfo> m_block = std::make_unique<ComInfo>();
    ExactMemory m_memory;
    model::Driver m_plain;
};
