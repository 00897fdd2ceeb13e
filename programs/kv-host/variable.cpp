#include "variable.h"

namespace kvhost
{

QString Variable::nameOf(int i) const
{
    if (name.isEmpty())
        return address.nameOfValue(i);
    return address.values > 1 ? QStringLiteral("%1[%2]").arg(name).arg(i) : name;
}

QString Variable::shownValue(const Value &value) const
{
    if (!scaled() || value.format == Format::Text)
        return shown(value);
    return QString::number(number(value), 'g', 10);
}

} // namespace kvhost
