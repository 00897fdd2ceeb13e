// SPDX-License-Identifier: MIT
// A Qt Core + Network program that does nothing: what kv-host's memory is measured against.
#include <QCoreApplication>
#include <QTcpSocket>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QTcpSocket socket;
    return QCoreApplication::exec();
}
