// areas: the devices, how they are written down, and what can be done with them.
#include "../app.h"
#include "../table.h"

namespace kvhost
{

namespace
{

QString name(const Device &device)
{
    return QString::fromLatin1(device.name);
}

// @ stands for the device's letters.
QString exampleNumbers(const Device &device)
{
    switch (device.element) {
    case Element::Bit:
        return QString::fromLatin1(device.notation == Notation::HexBit ? "@F @1F0:4 @10.U"
                                                                       : "@15 @100:16 @100.U");
    case Element::Contact:
        return QStringLiteral("@5 @0:8");
    case Element::Word:
        return QString::fromLatin1(device.notation == Notation::Hex ? "@1A @1A.3 @10.F @10-@1F"
                                                                    : "@100 @100.5 @100.F @100-@109");
    case Element::DoubleWord:
        return QStringLiteral("@1 @1.L");
    }
    return {};
}

QString examples(const Device &device)
{
    return exampleNumbers(device).replace('@', name(device));
}

QString formats(const Device &device)
{
    switch (device.element) {
    case Element::Bit:
        return QStringLiteral("bit; channel .U .S .D .L .H .F .STR:n");
    case Element::Contact:
        return QStringLiteral("bit");
    case Element::Word:
        return QStringLiteral("U; .S .D .L .H .F .STR:n, bit .0-.15");
    case Element::DoubleWord:
        return device.bitArea >= 0 ? QStringLiteral("D; .L .H .F, contact .C")
                                   : QStringLiteral("D; .L .H .F");
    }
    return {};
}

QString writing(const Device &device)
{
    if (!device.writable)
        return QStringLiteral("no");
    const QString n = name(device);
    return n == "AT" || n == "CR" || n == "CM" ? QStringLiteral("with --force") : QStringLiteral("yes");
}

} // namespace

int runAreas(App *app)
{
    Table table({"device", "written as", "formats", "writing", "on a KV-8000", "what"});
    for (const Device &device : devices()) {
        table.add({name(device), examples(device), formats(device), writing(device),
                   QString::fromLatin1(device.range), QString::fromLatin1(device.what)});
    }
    table.print(&app->out);
    app->out.note("Ranges differ from model to model; the PLC answers E0 to a number that it lacks.");
    return EXIT_GOOD;
}

} // namespace kvhost
