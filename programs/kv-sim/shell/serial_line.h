// A serial line: a pseudo-terminal that clients open under a path of our own.
#pragma once

#include "conversation.h"

#include <QSocketNotifier>
#include <QString>

#include <memory>

class SerialLine : public QObject
{
public:
    SerialLine(Exchange &exchange, std::uint32_t baud);
    ~SerialLine() override;

    /// Makes the pseudo-terminal and a symbolic link to it at the path. A symbolic link that stands there
    /// already is replaced, anything else is left alone. \return empty, or why it cannot be made
    QString open(const QString &path);
    QString path() const { return path_; }

private:
    QString makeTerminal();
    QString linkTo(const QString &terminal);
    void readAll();
    void send(const QByteArray &bytes);

    Exchange &exchange_;
    std::uint32_t baud_;
    QString path_;
    bool linked_ = false;
    QByteArray terminal_;
    int master_ = -1;
    int slave_ = -1; // kept open: the line stays up while no client has it open
    std::unique_ptr<QSocketNotifier> notifier_;
    std::unique_ptr<Conversation> conversation_;
};
