// SPDX-License-Identifier: MIT
// Drawings: what a browser would run or fetch never gets through, and what was drawn does.
#include "drawings/drawing_folder.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

constexpr char open[] =
    "<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\" "
    "xmlns:inkscape=\"http://www.inkscape.org/namespaces/inkscape\">";

std::string inside(const QByteArray &svg)
{
    QByteArray text = svg;
    text.replace("<svg xmlns=\"http://www.w3.org/2000/svg\">", "").replace("</svg>", "");
    return text.replace("<svg xmlns=\"http://www.w3.org/2000/svg\"/>", "").toStdString();
}

CheckedDrawing checked(const QByteArray &elements)
{
    return checkDrawing("plant", open + elements + "</svg>");
}

std::string faultsOf(const CheckedDrawing &checked)
{
    std::string all;
    for (const DrawingFault &fault : checked.faults)
        all += (all.empty() ? "" : "\n") + fault.text.toStdString();
    return all;
}

struct CleanRow {
    const char *row;
    const char *drawn;
    const char *shown;
};

class Clean : public testing::TestWithParam<CleanRow>
{
};

TEST_P(Clean, isShownLikeThis)
{
    const CheckedDrawing result = checked(GetParam().drawn);
    EXPECT_EQ(inside(result.drawing.svg), GetParam().shown);
    EXPECT_EQ(faultsOf(result), "");
}

// clang-format off
const CleanRow cleanRows[] = {
    {"shapes", R"x(<g transform="scale(2)"><rect x="1" y="2" width="3" height="4" rx="1" fill="red"/></g>)x",
     R"x(<g transform="scale(2)"><rect fill="red" height="4" rx="1" width="3" x="1" y="2"/></g>)x"},
    {"text", R"x(<text x="1">a &lt; b &amp; <tspan dy="2">c</tspan></text>)x",
     R"x(<text x="1">a &lt; b &amp; <tspan dy="2">c</tspan></text>)x"},
    {"styleBecomesAttributes", R"x(<rect style="fill:#f00;stroke-width:2px;-inkscape-stroke:none;position:fixed"/>)x",
     R"x(<rect fill="#f00" stroke-width="2px"/>)x"},
    {"styleIsStrongerThanAnAttribute", R"x(<rect style="fill: blue !important" fill="red"/>)x", R"x(<rect fill="blue"/>)x"},
    {"idsAndReferences", R"x(<linearGradient id="g1" xlink:href="#g0"/><rect fill="url(#g1)" stroke="url('#g0') none"/><use href="#a"/>)x",
     R"x(<linearGradient href="#page-g0" id="page-g1"/><rect fill="url(#page-g1)" stroke="url(#page-g0) none"/><use href="#page-a"/>)x"},
    {"fallbacksOfAReference", R"x(<rect fill="url(#g) #fff" stroke="url(#g) rgb(10%, 20%,30)"/><path fill="url(#g) currentColor"/>)x",
     R"x(<rect fill="url(#page-g) #fff" stroke="url(#page-g) rgb(10%, 20%,30)"/><path fill="url(#page-g) currentColor"/>)x"},
    {"idThatNobodyCanReferTo", R"x(<rect id="a b"/>)x", "<rect/>"},
    {"drawingProgramsAreAmongThemselves", R"x(<inkscape:grid><inkscape:x/></inkscape:grid><metadata><g/></metadata><rect inkscape:label="x" class="menu" tabindex="0"/>)x",
     "<rect/>"},
    {"emptyStyleSheet", "<style> </style><rect/>", "<rect/>"},
    {"textBetweenShapesIsNotShown", "<g>click here</g>", "<g/>"},
    {"commentsAndInstructions", R"x(<!-- x --><?xml-stylesheet href="http://x/a.css"?><rect/>)x", "<rect/>"},
    {"cdata", "<text><![CDATA[<script>]]></text>", "<text>&lt;script&gt;</text>"},
    {"fontThatIsCalledSo", R"x(<text style="font-family:'Image Sans'"/>)x", R"x(<text font-family="'Image Sans'"/>)x"},
    {"bindings", R"x(<text data-tag="a.b" data-format="0.0 %">-</text>)x", R"x(<text data-format="0.0 %" data-tag="a.b">-</text>)x"},
    {"unknownDataIsDropped", R"x(<rect data-action="x"/>)x", "<rect/>"},
    {"xmlSpace", R"x(<text xml:space="preserve"> a </text>)x", R"x(<text xml:space="preserve"> a </text>)x"},
};

struct HostileRow {
    const char *row;
    const char *drawn;
    const char *fault;
};

const HostileRow hostileRows[] = {
    {"script", "<script>alert(1)</script>", "<script> cannot be shown: draw it with shapes, paths and texts, or remove it"},
    {"scriptInAGroup", "<g><g><script href=\"data:,x\"/></g></g>", "<script> cannot be shown: draw it with shapes, paths and texts, or remove it"},
    {"foreignObject", "<foreignObject><iframe xmlns=\"http://www.w3.org/1999/xhtml\" src=\"/\"/></foreignObject>", "<foreignObject> cannot be shown: draw it with shapes, paths and texts, or remove it"},
    {"animation", "<set attributeName=\"href\" to=\"javascript:x\"/>", "<set> cannot be shown: draw it with shapes, paths and texts, or remove it"},
    {"image", "<image href=\"http://x/a.png\"/>", "<image> cannot be shown: draw it with shapes, paths and texts, or remove it"},
    {"link", "<a href=\"javascript:x\"><rect/></a>", "<a> cannot be shown: draw it with shapes, paths and texts, or remove it"},
    {"capitals", "<SCRIPT/>", "<SCRIPT> cannot be shown: draw it with shapes, paths and texts, or remove it"},
    {"handler", "<rect onclick=\"x()\"/>", "onclick in <rect> is a script, and scripts are not run: remove it"},
    {"handlerInCapitals", "<rect onLoad=\"x()\"/>", "onLoad in <rect> is a script, and scripts are not run: remove it"},
    {"useFromElsewhere", "<use xlink:href=\"http://x/a.svg#a\"/>", "the reference \"http://x/a.svg#a\" in <use> leads out of the drawing: only \"#id\" is followed"},
    {"useOfData", "<use href=\"data:image/svg+xml,x\"/>", "the reference \"data:image/svg+xml,x\" in <use> leads out of the drawing: only \"#id\" is followed"},
    {"referenceOfAShape", "<rect href=\"#a\"/>", "the reference \"#a\" in <rect> leads out of the drawing: only \"#id\" is followed"},
    {"fillFromElsewhere", "<rect fill=\"url(http://x/#a)\"/>", "fill \"url(http://x/#a)\" in <rect> leads out of the drawing: only url(#id) is followed"},
    {"styleFromElsewhere", "<rect style=\"mask: URL( '//x/#a' )\"/>", "mask \"URL( '//x/#a' )\" in <rect> leads out of the drawing: only url(#id) is followed"},
    {"twoUrls", "<rect filter=\"url(#a) url(http://x)\"/>", "filter \"url(#a) url(http://x)\" in <rect> leads out of the drawing: only url(#id) is followed"},
    {"escapedUrl", "<rect fill=\"\\75 rl(http://x)\"/>", "fill \"\\75 rl(http://x)\" in <rect> leads out of the drawing: only url(#id) is followed"},
    {"imageSet", "<rect mask=\"image-set('http://x' 1x)\"/>", "mask \"image-set('http://x' 1x)\" in <rect> leads out of the drawing: only url(#id) is followed"},
    {"fallbackFromElsewhere", "<rect fill=\"url(#a) src('http://x')\"/>", "fill \"url(#a) src('http://x')\" in <rect> leads out of the drawing: only url(#id) is followed"},
    {"urlForAGeometry", "<rect width=\"url(http://x)\"/>", "width \"url(http://x)\" in <rect> leads out of the drawing: only url(#id) is followed"},
    {"src", "<rect mask=\"src('http://x')\"/>", "mask \"src('http://x')\" in <rect> leads out of the drawing: only url(#id) is followed"},
    {"srcInCapitals", "<rect style=\"fill: SRC( var(--x, 'http://x') )\"/>", "fill \"SRC( var(--x, 'http://x') )\" in <rect> leads out of the drawing: only url(#id) is followed"},
    {"srcForAGeometry", "<rect width=\"src('http://x')\"/>", "width \"src('http://x')\" in <rect> leads out of the drawing: only url(#id) is followed"},
    {"urlForSpaces", "<text xml:space=\"url(http://x)\"/>", ""},
    {"styleSheet", "<style>@import 'http://x';</style>", "<style> is not shown: give each shape its own style"},
    {"copiesOfCopies", "<g id=\"a\"><use href=\"#b\"/></g><g id=\"b\"><rect/></g><use href=\"#a\"/>", "<use> of something that has a <use> itself: unlink the inner copy"},
    {"copyOfItself", "<g id=\"a\"><use href=\"#a\"/></g>", "<use> of something that has a <use> itself: unlink the inner copy"},
    {"entity", "<text>&x;</text>", "this is not SVG: Entity 'x' not declared."},
};

const HostileRow bindingRows[] = {
    {"formatWithoutTag", "<text data-format=\"0\"/>", "data-format needs data-tag in the same element"},
    {"formatOfAShape", "<rect data-tag=\"a.b\" data-format=\"0\"/>", "data-format is for <text> and <tspan>, not for <rect>"},
    {"formatWithoutNumber", "<text data-tag=\"a.b\" data-format=\"%\"/>", "data-format=\"%\" is not understood: write \"0.0 %\" or \"0=closed|1=open\""},
    {"formatWithTwoNumbers", "<text data-tag=\"a.b\" data-format=\"0.0 of 0\"/>", "data-format=\"0.0 of 0\" is not understood: write \"0.0 %\" or \"0=closed|1=open\""},
    {"when", "<rect data-tag=\"a.b\" data-when=\"on = fill red\"/>", "data-when=\"on = fill red\" is not understood: write \"on: fill green; > 90: fill red, show\""},
    {"whenWithForeignColour", "<rect data-tag=\"a.b\" data-when=\"on: fill url(http://x)\"/>", "data-when=\"on: fill url(http://x)\" is not understood: write \"on: fill green; > 90: fill red, show\""},
    {"levelOfACircle", "<circle data-tag=\"a.b\" data-level=\"0 100\"/>", "data-level is for <rect>, not for <circle>"},
    {"levelUpsideDown", "<rect data-tag=\"a.b\" data-level=\"100 0\"/>", "data-level=\"100 0\" is not understood: write \"0 100\", perhaps with up, down, left or right behind it"},
    {"digitsOfAnotherScript", "<g data-tag=\"a.b\" data-button=\"set \xef\xbc\x91\"/>", "data-button=\"set \xef\xbc\x91\" is not understood: write \"press\", \"set 1\" or \"ask\""},
    {"limitInDigitsOfAnotherScript", "<g data-tag=\"a.b\" data-when=\"= \xef\xbc\x91: show\"/>", "data-when=\"= \xef\xbc\x91: show\" is not understood: write \"on: fill green; > 90: fill red, show\""},
    {"button", "<g data-tag=\"a.b\" data-button=\"pres\"/>", "data-button=\"pres\" is not understood: write \"press\", \"set 1\" or \"ask\""},
};

const char *const fineBindings[] = {
    "<text data-tag='a.b'/>",
    "<tspan data-tag='a.b' data-format='Speed: 0 rpm'/>",
    "<text data-tag='a.b' data-format='0.00'/>",
    "<text data-tag='a.b' data-format='0=closed|1=open|-1='/>",
    "<g data-tag='a.b' data-when='on: show'/>",
    "<path data-tag='a.b' data-when='&lt;= -1.5: fill #f00, stroke #00ff00; != 3: hide'/>",
    "<rect data-tag='a.b' data-level='-10 10 right'/>",
    "<g data-tag='a.b' data-button='set -1.5'/>",
    "<g data-tag='a.b' data-button='set on'/>",
    "<g data-tag='a.b' data-button='ask'/>",
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, Clean, testing::ValuesIn(cleanRows),
                         [](const auto &row) { return std::string(row.param.row); });

class Hostile : public testing::TestWithParam<HostileRow>
{
};

TEST_P(Hostile, isNamedAndNotShown)
{
    const CheckedDrawing result = checked(GetParam().drawn);
    EXPECT_EQ(faultsOf(result), GetParam().fault);
    for (const char *trace : {"script", "onclick", "http://x", "//x", "data:", "iframe", "\\75"})
        EXPECT_FALSE(inside(result.drawing.svg).find(trace) != std::string::npos) << trace;
}

INSTANTIATE_TEST_SUITE_P(Rows, Hostile, testing::ValuesIn(hostileRows),
                         [](const auto &row) { return std::string(row.param.row); });

class Binding : public testing::TestWithParam<HostileRow>
{
};

TEST_P(Binding, isExplained)
{
    EXPECT_EQ(faultsOf(checked(GetParam().drawn)), GetParam().fault);
}

INSTANTIATE_TEST_SUITE_P(Rows, Binding, testing::ValuesIn(bindingRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(Binding, ofEachKindIsTaken)
{
    for (const char *element : fineBindings)
        EXPECT_EQ(faultsOf(checked(element)), "") << element;
}

TEST(Drawing, titleIsThatOfTheDrawingItself)
{
    EXPECT_EQ(checked("<g><title>a part</title></g>").drawing.title, "plant");
    EXPECT_EQ(checked("<title> Small\n plant </title>").drawing.title, "Small plant");
}

TEST(Drawing, faultsHaveThePlaceWhereTheElementBegins)
{
    const CheckedDrawing result =
        checkDrawing("plant", "<svg xmlns=\"http://www.w3.org/2000/svg\">\n"
                              "  <rect\n     x=\"1\"\n     onclick=\"x\"/>\n"
                              "  <script/>\n"
                              "  <text data-tag=\"a.b\"\n   data-button=\"press\"/>\n</svg>");
    ASSERT_EQ(result.faults.size(), 2u);
    EXPECT_EQ(result.faults[0].line, 2);
    EXPECT_EQ(result.faults[1].line, 5);
    ASSERT_EQ(result.tags.size(), 1u);
    EXPECT_EQ(result.tags[0].tag, "a.b");
    EXPECT_EQ(result.tags[0].button, "press");
    EXPECT_EQ(result.tags[0].line, 6);
}

TEST(Drawing, whatIsNotADrawingIsRefused)
{
    EXPECT_EQ(faultsOf(checkDrawing("a", "<html><script/></html>")),
              "the first element must be <svg xmlns=\"http://www.w3.org/2000/svg\">");
    EXPECT_EQ(faultsOf(checkDrawing("a", "<svg/>")),
              "the first element must be <svg xmlns=\"http://www.w3.org/2000/svg\">");
    EXPECT_EQ(faultsOf(checkDrawing("a", "")).rfind("this is not SVG: ", 0), 0u);
    const QByteArray begun = "<svg xmlns=\"http://www.w3.org/2000/svg\"><rect>";
    EXPECT_EQ(faultsOf(checkDrawing("a", begun)).rfind("this is not SVG: ", 0), 0u);
}

// Nine lines of entities make a gigabyte of text.
TEST(Drawing, declarationsAreNotRead)
{
    EXPECT_EQ(faultsOf(checkDrawing("a", "<!DOCTYPE svg [<!ENTITY a \"aaaa\"><!ENTITY b \"&a;&a;\">]>"
                                         "<svg xmlns=\"http://www.w3.org/2000/svg\"><text>&b;</text></svg>")),
              "<!DOCTYPE> with declarations is not read: remove it");
    const QByteArray plain = "<!DOCTYPE svg PUBLIC \"-//W3C//DTD SVG 1.1//EN\" \"http://x/svg11.dtd\">";
    EXPECT_EQ(faultsOf(checkDrawing("a", plain + "<svg xmlns=\"http://www.w3.org/2000/svg\"/>")), "");
}

TEST(Drawing, depthIsLimited)
{
    EXPECT_EQ(faultsOf(checked(QByteArray("<g>").repeated(98) + QByteArray("</g>").repeated(98))), "");
    EXPECT_EQ(faultsOf(checked(QByteArray("<g>").repeated(5000) + QByteArray("</g>").repeated(5000))),
              "elements are nested deeper than 100");
}

// As many as a file may hold: whoever went into each of them would run out of stack.
TEST(Drawing, depthOfWhatIsNotShownDoesNotMatter)
{
    const QByteArray nested = QByteArray("<a>").repeated(280'000) + QByteArray("</a>").repeated(280'000);
    EXPECT_EQ(faultsOf(checked("<style>" + nested + "</style>")), "");
    EXPECT_EQ(faultsOf(checked("<metadata>" + nested + "</metadata>")), "");
    EXPECT_EQ(faultsOf(checked("<inkscape:grid>" + nested + "</inkscape:grid>")), "");
    EXPECT_EQ(faultsOf(checked("<script>" + nested + "</script>")),
              "<script> cannot be shown: draw it with shapes, paths and texts, or remove it");
}

class Folder
{
public:
    void write(const char *name, const QByteArray &bytes) const
    {
        QFile file(m_folder.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }
    QString path() const { return m_folder.path(); }

private:
    QTemporaryDir m_folder;
};

TEST(DrawingFolder, hasItsDrawingsByName)
{
    const Folder folder;
    const QByteArray empty = open + QByteArray("</svg>");
    folder.write("tanks.svg", empty);
    folder.write("belt.svg", empty);
    folder.write("notes.txt", "x");
    QString problem;
    const auto drawings = readDrawings(folder.path(), problem);
    ASSERT_EQ(drawings.size(), 2u) << problem.toStdString();
    EXPECT_EQ(drawings[0].checked.drawing.name, "belt");
    EXPECT_EQ(drawings[1].checked.drawing.name, "tanks");
    EXPECT_EQ(drawings[1].file, folder.path() + "/tanks.svg");
}

TEST(DrawingFolder, wrongFilesAreNamed)
{
    const Folder folder;
    folder.write("my plant.svg", "x");
    folder.write("large.svg", QByteArray(2 * 1024 * 1024 + 1, ' '));
    QString problem;
    const auto drawings = readDrawings(folder.path(), problem);
    ASSERT_EQ(drawings.size(), 2u);
    EXPECT_EQ(faultsOf(drawings[0].checked), "the drawing is larger than 2 MiB");
    EXPECT_EQ(faultsOf(drawings[1].checked),
              "the name of a drawing may have letters, digits, '-' and '_' only, and at most 40 of them");
    EXPECT_TRUE(readDrawings(folder.path() + "/none", problem).empty());
    EXPECT_EQ(problem, "the folder " + folder.path() + "/none is not there");
}

} // namespace
} // namespace kvgateway
