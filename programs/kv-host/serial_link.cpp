#include "serial_link.h"

namespace kvhost
{

SerialLink::SerialLink(const PlcUrl &url, std::function<void()> wake) : m_url(url), m_wake(std::move(wake)) {}

SerialLink::~SerialLink()
{
    SerialLink::close(); // this class's own, whatever is derived from it
}

void SerialLink::open()
{
    close();
    m_port = std::make_unique<QSerialPort>();
    m_port->setPortName(m_url.host);
    setUp();
    QSerialPort *port = m_port.get();
    QObject::connect(port, &QSerialPort::readyRead, port, [this] { m_wake(); });
    QObject::connect(port, &QSerialPort::errorOccurred, port, [this](QSerialPort::SerialPortError error) {
        // Disturbed characters and time-outs of single calls are no end of the line.
        if (error == QSerialPort::ResourceError || error == QSerialPort::DeviceNotFoundError)
            failed(m_port->errorString());
    });
    if (!m_port->open(QIODevice::ReadWrite)) {
        failed(m_port->errorString());
        return;
    }
    m_problem.clear();
    m_state = State::Open;
    m_wake();
}

void SerialLink::setUp()
{
    m_port->setBaudRate(m_url.baud);
    m_port->setDataBits(m_url.dataBits == 7 ? QSerialPort::Data7 : QSerialPort::Data8);
    m_port->setStopBits(m_url.stopBits == 2 ? QSerialPort::TwoStop : QSerialPort::OneStop);
    m_port->setParity(m_url.parity == "none"  ? QSerialPort::NoParity
                      : m_url.parity == "odd" ? QSerialPort::OddParity
                                              : QSerialPort::EvenParity);
}

void SerialLink::failed(const QString &why)
{
    m_problem = why;
    m_state = State::Failed;
    m_wake();
}

void SerialLink::close()
{
    m_state = State::Closed;
    if (!m_port)
        return;
    m_port->disconnect();
    m_port->close();
    m_port.reset();
}

void SerialLink::send(const QByteArray &bytes)
{
    if (m_state != State::Open)
        return;
    m_port->write(bytes);
    m_port->flush();
}

QByteArray SerialLink::takeReceived()
{
    return m_port ? m_port->readAll() : QByteArray();
}

} // namespace kvhost
