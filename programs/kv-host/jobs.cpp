#include "jobs.h"

#include <algorithm>

namespace kvhost
{

namespace
{

constexpr int LEAST_REPEATS = 3;
constexpr int MOST_WORDS = 128;       // the driver cuts writes there
constexpr int MOST_DOUBLE_WORDS = 80; // 11 characters each

int bytesPerElement(Element element)
{
    switch (element) {
    case Element::Bit:
    case Element::Contact:
        return 1;
    case Element::Word:
        return 2;
    case Element::DoubleWord:
        return 4;
    }
    return 1;
}

int mostElements(const Address &address, int maxBlock)
{
    switch (address.element) {
    case Element::Bit:
    case Element::Contact:
        return 1;
    case Element::DoubleWord:
        return std::min(maxBlock, MOST_DOUBLE_WORDS);
    case Element::Word:
        break;
    }
    const int most = std::min(maxBlock, MOST_WORDS);
    const int perValue = address.format == Format::Text ? 1 : address.elementsPerValue();
    return std::max(most / perValue, 1) * perValue;
}

} // namespace

std::vector<Address> writePieces(const Address &address, int maxBlock)
{
    std::vector<Address> pieces;
    const int most = mostElements(address, maxBlock);
    for (int at = 0; at < address.elements; at += most) {
        Address piece = address;
        piece.number += at;
        piece.elements = std::min(most, address.elements - at);
        piece.addressText = driverText(*piece.device, piece.area, piece.number);
        pieces.push_back(piece);
    }
    return pieces;
}

void Job::add(const Address &address, const QByteArray &data)
{
    const std::size_t part = m_results.size();
    PartResult result;
    result.address = address;
    m_results.push_back(result);
    int at = 0;
    const auto pieces = m_kind == RequestKind::Write ? writePieces(address, m_session->settings().maxBlock)
                                                     : std::vector<Address>{address};
    for (const Address &piece : pieces) {
        const int size = piece.elements * bytesPerElement(piece.element);
        m_waiting.push_back({part, piece, data.mid(at, size), 0});
        at += size;
    }
    m_open.push_back(int(pieces.size()));
}

// A write waits for an earlier one to the same place: the driver would merge the two, and the earlier owner
// would never hear of its end.
bool Job::mayQueue(const Piece &piece) const
{
    const RequestLedger &ledger = m_session->requests();
    // A long one-shot read becomes several entries.
    const int blocks = piece.address.unitCount() / m_session->settings().maxBlock + 1;
    // Answered pieces stay until they are proved, which is when the loop has nothing to do: so it must run
    // dry.
    if (m_handedOver.size() >= std::size_t(RequestLedger::MOST_PENDING))
        return false;
    return ledger.pending(m_kind) + blocks <= RequestLedger::MOST_PENDING + blocks - 1 &&
           !(m_kind == RequestKind::Write && ledger.writePending(piece.address));
}

void Job::queue(Piece piece)
{
    if (m_results[piece.part].state == RequestState::Failed) {
        --m_open[piece.part]; // an earlier piece of the same write failed: the rest is not sent
        return;
    }
    piece.owner = m_kind == RequestKind::Write ? m_session->write(piece.address, piece.data)
                                               : m_session->readOnce(piece.address);
    m_handedOver.push_back(piece);
}

void Job::ended(std::size_t part, const Request &request)
{
    PartResult &result = m_results[part];
    --m_open[part];
    if (request.state == RequestState::Failed) {
        result.state = RequestState::Failed;
        result.trouble = request.trouble == Trouble::None ? Trouble::NoAnswer : request.trouble;
        result.reason = request.reason.isEmpty() ? QStringLiteral("given up by the driver") : request.reason;
    }
    if (m_open[part] <= 0 && result.state == RequestState::Pending)
        result.state = RequestState::Done;
}

// A write is repeated like one that was not answered: it sets the same values.
void Job::askAgain(Piece piece)
{
    if (piece.repeats++ < std::max(m_session->settings().retries, LEAST_REPEATS)) {
        m_waiting.push_front(std::move(piece));
        return;
    }
    Request failed;
    failed.state = RequestState::Failed;
    failed.trouble = Trouble::NoAnswer;
    failed.reason = QStringLiteral("answered, but perhaps by another request's answer");
    ended(piece.part, failed);
}

void Job::collect()
{
    std::vector<Piece> still;
    for (Piece &piece : m_handedOver) {
        const Request request = m_session->requests().take(piece.owner);
        if (request.state == RequestState::Pending || request.state == RequestState::Proving)
            still.push_back(std::move(piece));
        else if (request.state == RequestState::Unsure)
            askAgain(std::move(piece));
        else
            ended(piece.part, request);
    }
    m_handedOver = std::move(still);
}

void Job::giveUpDeadStations()
{
    for (const LinkStatus &link : m_session->links()) {
        if (link.ready || link.failures <= m_session->settings().retries)
            continue;
        for (const Piece &piece : m_handedOver) {
            if (piece.address.station == link.station)
                m_session->requests().fail(piece.owner, link.trouble, link.url + ": " + link.reason);
        }
    }
}

bool Job::step()
{
    giveUpDeadStations();
    collect();
    while (!m_waiting.empty() && mayQueue(m_waiting.front())) {
        const Piece piece = std::move(m_waiting.front());
        m_waiting.pop_front();
        queue(piece);
    }
    return m_waiting.empty() && m_handedOver.empty();
}

void Job::run()
{
    m_session->waitUntil([this] { return step(); }, Time::max());
}

std::vector<PartResult> Job::results() const
{
    return m_results;
}

} // namespace kvhost
