// SPDX-License-Identifier: MIT
#include "drawing.h"

#include "allowed.h"
#include "binding.h"

#include <QRegularExpression>
#include <QSet>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <utility>

namespace kvgateway
{

namespace
{

constexpr char svgNamespace[] = "http://www.w3.org/2000/svg";
constexpr char xlinkNamespace[] = "http://www.w3.org/1999/xlink";
constexpr char xmlNamespace[] = "http://www.w3.org/XML/1998/namespace";
constexpr char idPrefix[] = "page-"; // no element of the page around it is called so
constexpr int deepest = 100;
constexpr int mostFaults = 20;
constexpr int mostShown = 80; // characters of a value in a message

QString latin(const char *text)
{
    return QString::fromLatin1(text);
}

// One element on its way through.
struct Element {
    QString name;
    QMap<QString, QString> attributes; // by name
    QMap<QString, QString> bindings;
    QString target; // what it refers to by href: "page-pump"
    QString id() const { return attributes.value(QStringLiteral("id")); }
};

class DrawingReader
{
public:
    DrawingReader(const QString &name, const QByteArray &bytes)
        : m_reader(bytes), m_writer(&m_out.drawing.svg)
    {
        m_out.drawing.name = name;
    }

    CheckedDrawing read()
    {
        while (!m_reader.atEnd() && int(m_out.faults.size()) < mostFaults) {
            m_line = int(m_reader.lineNumber()); // an element begins where the token before it ended
            m_reader.readNext();
            takeToken();
        }
        m_line = int(m_reader.lineNumber());
        if (m_reader.hasError() && m_reader.error() != QXmlStreamReader::CustomError)
            refuse(QStringLiteral("this is not SVG: %1").arg(m_reader.errorString()));
        refuseNestedUses();
        m_out.drawing.title = m_title.simplified();
        if (m_out.drawing.title.isEmpty())
            m_out.drawing.title = m_out.drawing.name;
        return std::move(m_out);
    }

private:
    void refuse(const QString &text) { m_out.faults.push_back({m_line, text}); }

    void takeToken()
    {
        switch (m_reader.tokenType()) {
        case QXmlStreamReader::StartElement:
            return startElement();
        case QXmlStreamReader::EndElement:
            m_open.removeLast();
            return m_writer.writeEndElement();
        case QXmlStreamReader::Characters:
            return takeText();
        case QXmlStreamReader::DTD:
            return takeDocumentType();
        case QXmlStreamReader::EntityReference:
            return refuse(QStringLiteral("an entity is not shown: write the character itself"));
        default:
            return; // declaration, comments and instructions are of no use to a browser
        }
    }

    // Declarations can blow up a drawing of a few lines, so nothing after them is read.
    void takeDocumentType()
    {
        if (!m_reader.text().contains('['))
            return;
        refuse(QStringLiteral("<!DOCTYPE> with declarations is not read: remove it"));
        m_reader.raiseError();
    }

    void startElement()
    {
        const QString name = m_reader.name().toString();
        const bool isSvg = m_reader.namespaceUri() == latin(svgNamespace);
        if (m_open.isEmpty() && !(isSvg && name == QLatin1String("svg"))) {
            refuse(QStringLiteral("the first element must be <svg xmlns=\"%1\">").arg(latin(svgNamespace)));
            return m_reader.skipCurrentElement();
        }
        if (isSvg && name == QLatin1String("style"))
            return takeStyleSheet();
        const ElementKind kind = isSvg ? elementKind(name) : ElementKind::Dropped;
        if (kind == ElementKind::Refused)
            refuse(QStringLiteral("<%1> cannot be shown: draw it with shapes, paths and texts, or remove it")
                       .arg(name));
        if (m_open.size() >= deepest)
            refuse(QStringLiteral("elements are nested deeper than %1").arg(deepest));
        if (kind == ElementKind::Dropped || kind == ElementKind::Refused || m_open.size() >= deepest)
            return m_reader.skipCurrentElement();
        writeElement(elementHere(name));
    }

    // Drawing programs leave an empty one behind. Elements in it mean nothing; to read them would
    // take a bit of stack for each level.
    void takeStyleSheet()
    {
        const QString text = m_reader.readElementText(QXmlStreamReader::SkipChildElements);
        if (!text.trimmed().isEmpty())
            refuse(QStringLiteral("<style> is not shown: give each shape its own style"));
    }

    Element elementHere(const QString &name)
    {
        Element element;
        element.name = name;
        QString style;
        for (const QXmlStreamAttribute &attribute : m_reader.attributes()) {
            const QString key = attribute.name().toString();
            const QString value = attribute.value().toString();
            const bool isPlain = attribute.namespaceUri().isEmpty();
            if (key == QLatin1String("href") &&
                (isPlain || attribute.namespaceUri() == latin(xlinkNamespace)))
                takeReference(element, value);
            else if (value == QLatin1String("preserve") && key == QLatin1String("space") &&
                     attribute.namespaceUri() == latin(xmlNamespace))
                element.attributes[QStringLiteral("xml:space")] = value;
            else if (isPlain && key == QLatin1String("style"))
                style = value;
            else if (isPlain)
                takeAttribute(element, key, value);
        }
        takeStyle(element, style); // a style is stronger than an attribute
        return element;
    }

    void takeAttribute(Element &element, const QString &key, const QString &value)
    {
        if (bindingNames().contains(key))
            element.bindings[key] = value;
        else if (key == QLatin1String("id"))
            takeId(element, value);
        else if (key.startsWith(QLatin1String("on"), Qt::CaseInsensitive))
            refuse(QStringLiteral("%1 in <%2> is a script, and scripts are not run: remove it")
                       .arg(key, element.name));
        else if (isAllowedProperty(key))
            takeProperty(element, key, value);
        else if (isAllowedAttribute(key))
            takeGeometry(element, key, value);
    }

    static bool isId(const QString &id)
    {
        static const QRegularExpression shape(QStringLiteral("^[A-Za-z_][A-Za-z0-9_.:-]{0,199}$"));
        return shape.match(id).hasMatch();
    }

    // What cannot be referred to needs no id.
    static void takeId(Element &element, const QString &id)
    {
        if (isId(id))
            element.attributes[QStringLiteral("id")] = latin(idPrefix) + id;
    }

    void takeReference(Element &element, const QString &value)
    {
        const QString id = value.trimmed().mid(1);
        if (value.trimmed().startsWith('#') && isId(id) && mayRefer(element.name)) {
            element.target = latin(idPrefix) + id;
            element.attributes[QStringLiteral("href")] = "#" + element.target;
        } else {
            refuse(QStringLiteral(
                       "the reference \"%1\" in <%2> leads out of the drawing: only \"#id\" is followed")
                       .arg(value.left(mostShown), element.name));
        }
    }

    // No browser fetches what a width is; none has to be trusted in that.
    void takeGeometry(Element &element, const QString &key, const QString &value)
    {
        if (namesAFile(value))
            refuseWayOut(element, key, value);
        else
            element.attributes[key] = value;
    }

    void refuseWayOut(const Element &element, const QString &key, const QString &value)
    {
        refuse(QStringLiteral("%1 \"%2\" in <%3> leads out of the drawing: only url(#id) is followed")
                   .arg(key, value.left(mostShown), element.name));
    }

    // A backslash could spell "url" in another way.
    static bool namesAFile(const QString &value)
    {
        return value.contains('\\') || value.contains(QLatin1String("url"), Qt::CaseInsensitive) ||
               value.contains(QLatin1String("src("), Qt::CaseInsensitive);
    }

    // Behind a reference may be what is painted where it leads nowhere.
    void takeProperty(Element &element, const QString &key, const QString &value)
    {
        static const QRegularExpression reference(
            QStringLiteral("^url\\(\\s*[\"']?#([A-Za-z0-9_.:-]+)[\"']?\\s*\\)"
                           "(\\s+(?:[A-Za-z]+|#[0-9A-Fa-f]{3,8}|rgba?\\([0-9.,%\\s]+\\)))?$"));
        const QString text = value.trimmed();
        const bool mayLeadOut =
            namesAFile(text) || text.contains(QLatin1String("image"), Qt::CaseInsensitive);
        const QRegularExpressionMatch found = reference.match(text);
        if (!mayLeadOut || key == QLatin1String("font-family"))
            element.attributes[key] = text;
        else if (found.hasMatch())
            element.attributes[key] =
                QStringLiteral("url(#%1%2)%3").arg(latin(idPrefix), found.captured(1), found.captured(2));
        else
            refuseWayOut(element, key, text);
    }

    // On purpose as attributes, which mean the same: pages that forbid inline styles show them too.
    void takeStyle(Element &element, const QString &style)
    {
        for (const QString &declaration : style.split(';')) {
            const auto colon = declaration.indexOf(':');
            const QString key = declaration.left(colon).trimmed().toLower();
            if (colon > 0 && isAllowedProperty(key))
                takeProperty(element, key, declaration.mid(colon + 1).remove(QStringLiteral("!important")));
        }
    }

    void writeElement(const Element &element)
    {
        if (m_open.isEmpty())
            m_writer.writeDefaultNamespace(latin(svgNamespace));
        m_writer.writeStartElement(element.name);
        for (const auto *map : {&element.attributes, &element.bindings}) {
            for (auto one = map->begin(); one != map->end(); ++one)
                m_writer.writeAttribute(one.key(), one.value());
        }
        for (const QString &problem : bindingProblems(element.name, element.bindings))
            refuse(problem);
        if (element.bindings.contains(QStringLiteral("data-tag")))
            m_out.tags.push_back({element.name, element.bindings[QStringLiteral("data-tag")],
                                  element.bindings.value(QStringLiteral("data-button")).trimmed(), m_line});
        m_open << element;
        noteUse(element);
    }

    void noteUse(const Element &element)
    {
        if (element.name != QLatin1String("use"))
            return;
        for (const Element &one : std::as_const(m_open))
            m_withUses.insert(one.id());
        m_uses.emplace_back(element.target, m_line);
    }

    // A copy of copies of copies would be a billion shapes in a few lines.
    void refuseNestedUses()
    {
        for (const auto &[target, line] : m_uses) {
            m_line = line;
            if (!target.isEmpty() && m_withUses.contains(target))
                refuse(QStringLiteral("<use> of something that has a <use> itself: unlink the inner copy"));
        }
    }

    void takeText()
    {
        const QString text = m_reader.text().toString();
        const QString element = m_open.isEmpty() ? QString() : m_open.last().name;
        if (elementKind(element) == ElementKind::Text)
            m_writer.writeCharacters(text);
        if (element == QLatin1String("title") && m_open.size() == 2)
            m_title += text;
    }

    QXmlStreamReader m_reader;
    CheckedDrawing m_out;
    QXmlStreamWriter m_writer;
    int m_line = 0; // of the token at hand
    QList<Element> m_open;
    QString m_title;
    QSet<QString> m_withUses; // ids of what has a <use> in it
    std::vector<std::pair<QString, int>> m_uses;
};

} // namespace

CheckedDrawing checkDrawing(const QString &name, const QByteArray &bytes)
{
    return DrawingReader(name, bytes).read();
}

} // namespace kvgateway
