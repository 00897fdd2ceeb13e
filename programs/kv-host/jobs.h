// A whole read or write of a user, handed to the driver in pieces that its lists and frames can take.
#pragma once

#include "session.h"

#include <deque>

namespace kvhost
{

/// How a part of a job ended.
struct PartResult {
    Address address;
    RequestState state = RequestState::Pending;
    Trouble trouble = Trouble::None;
    QString reason;
};

/// Cuts a write into pieces of which each becomes exactly one entry of the driver's list, so that each has an
/// owner of its own: single bits, up to \a maxBlock words, up to 80 double words (the text of a frame stays
/// below 1024 bytes); 32-bit values in two words are not torn apart.
std::vector<Address> writePieces(const Address &address, int maxBlock);

class Job
{
public:
    Job(Session *session, RequestKind kind) : m_session(session), m_kind(kind) {}

    /// Adds a part. \param data the values to write, for the address as a whole
    void add(const Address &address, const QByteArray &data = {});

    /// Hands over what can be handed over, collects what has ended. \return true when all has ended
    bool step();

    /// Runs until all has ended or a signal came. A station without a working link is given up after as many
    /// failures as there are retries.
    void run();

    /// One for each add(), in that order.
    std::vector<PartResult> results() const;

private:
    struct Piece {
        std::size_t part = 0;
        Address address;
        QByteArray data;
        int owner = 0;
        int repeats = 0; ///< asked again because its answer may have been another's
    };

    bool mayQueue(const Piece &piece) const;
    void queue(Piece piece);
    void collect();
    void askAgain(Piece piece);
    void giveUpDeadStations();
    void ended(std::size_t part, const Request &request);

    Session *m_session;
    RequestKind m_kind;
    std::deque<Piece> m_waiting;
    std::vector<Piece> m_handedOver;
    std::vector<PartResult> m_results;
    std::vector<int> m_open; ///< pieces of each part that have not ended
};

} // namespace kvhost
