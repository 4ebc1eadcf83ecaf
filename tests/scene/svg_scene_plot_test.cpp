// The picture render draws of a scene: a document that parses whatever the scene
// names, event labels that stay apart and on the page, a map that puts paths where
// the scene says, and a size that stays bounded however big the scene.
#include <gmock/gmock.h>

#include <regex>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <QXmlStreamReader>

#include "host/render/SvgScenePlot.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

LevelTrace SteadyTrace(double seconds) {
    LevelTrace trace;
    trace.windowSeconds = 0.02;
    trace.floorDb = -80;
    trace.channels.assign(2, std::vector<double>(static_cast<std::size_t>(seconds / 0.02), -20));
    return trace;
}

Scene SceneOf(double duration, std::vector<SceneSource> sources) {
    Scene scene;
    scene.duration = duration;
    scene.sources = std::move(sources);
    scene.camera = {{0, View{}}};
    return scene;
}

SceneSource Source(std::string name, std::vector<Keyframe<osg::Vec3f>> position,
                   std::vector<double> play = {}, std::vector<double> stop = {}) {
    SceneSource source;
    source.name = std::move(name);
    source.position = std::move(position);
    source.play = std::move(play);
    source.stop = std::move(stop);
    return source;
}

// A text of the picture placed by x, y and text-anchor, and the box it takes with
// characters at most 7 px wide (a 12 px sans-serif font's are narrower).
struct PlacedText {
    double left, right, top, bottom;
    std::string text;
};

std::vector<PlacedText> EventLabelsOf(const std::string& svg) {
    static const std::regex kText(
        "<text x=\"([-0-9.]+)\" y=\"([-0-9.]+)\" text-anchor=\"(start|end)\"[^>]*>"
        "([^<]* \\([0-9.]+ s\\))</text>");
    std::vector<PlacedText> labels;
    for (std::sregex_iterator match(svg.begin(), svg.end(), kText), end; match != end; ++match) {
        const double x = std::stod((*match)[1]), y = std::stod((*match)[2]);
        const double width = 7.0 * (*match)[4].length();
        const bool start = (*match)[3] == "start";
        labels.push_back(
            {start ? x : x - width, start ? x + width : x, y - 10, y + 3, (*match)[4]});
    }
    return labels;
}

double PageWidthOf(const std::string& svg) {
    std::smatch match;
    EXPECT_TRUE(std::regex_search(svg, match, std::regex("<svg [^>]*width=\"([0-9.]+)\"")));
    return match.empty() ? 0 : std::stod(match[1]);
}

// Whether an XML parser reads the whole document without an error.
bool ParsesAsXml(const std::string& svg) {
    QXmlStreamReader reader(QByteArray::fromStdString(svg));
    while (!reader.atEnd()) {
        reader.readNext();
    }
    return !reader.hasError();
}

TEST(SvgScenePlot, LabelsOfSimultaneousEventsStackInsideThePage) {
    // Ten sources played at the start and stopped at the end: eight rows of labels
    // at each edge, the other events marked and counted.
    std::vector<SceneSource> sources;
    for (int index = 0; index < 10; ++index) {
        sources.push_back(Source(fmt::format("source {}", index), {{0, {1, 0, 0}}}, {0}, {10}));
    }
    const std::string svg = PlotScene(SteadyTrace(10), SceneOf(10, sources), "ten at once");

    const std::vector<PlacedText> labels = EventLabelsOf(svg);
    ASSERT_EQ(labels.size(), 16u);
    const double pageWidth = PageWidthOf(svg);
    for (std::size_t one = 0; one < labels.size(); ++one) {
        EXPECT_GE(labels[one].left, 0) << labels[one].text;
        EXPECT_LE(labels[one].right, pageWidth) << labels[one].text;
        for (std::size_t other = one + 1; other < labels.size(); ++other) {
            const bool apart = labels[one].right <= labels[other].left ||
                               labels[other].right <= labels[one].left ||
                               labels[one].bottom <= labels[other].top ||
                               labels[other].bottom <= labels[one].top;
            EXPECT_TRUE(apart) << labels[one].text << " and " << labels[other].text;
        }
    }
    EXPECT_THAT(svg, HasSubstr("text-anchor=\"end\" fill=\"#b3261e\" stroke=\"white\" "
                               "stroke-width=\"3\" paint-order=\"stroke\">stop source 0 (10 s)"
                               "</text>"));
    EXPECT_THAT(svg, HasSubstr(">and 4 more events, marked at the top</text>"));
    EXPECT_THAT(svg, HasSubstr(">time (s)</text>"));
    EXPECT_THAT(svg, HasSubstr(">RMS level (dB full scale)</text>"));
}

TEST(SvgScenePlot, MapPutsPathsWhereTheSceneSays) {
    // A walker from (-2, -2) to (2, 2) in x and z, a post at x 1, the listener at the
    // origin facing -Z: 5.6 m across 420 px, x across from 76 px, z down from 60 px.
    const std::string svg =
        PlotScene(SteadyTrace(10),
                  SceneOf(10, {Source("walker", {{0, {-2, 0, -2}}, {10, {2, 0, 2}}}),
                               Source("post", {{0, {1, 5, 0}}})}),
                  "map");

    EXPECT_THAT(svg, HasSubstr("<circle cx=\"136.0\" cy=\"120.0\" r=\"4\""));  // the walker's start
    EXPECT_THAT(svg, HasSubstr("points=\"136.0,120.0 "));
    EXPECT_THAT(svg, HasSubstr(" 436.0,420.0 \"/>"));                          // its end
    EXPECT_THAT(svg, HasSubstr("<circle cx=\"361.0\" cy=\"270.0\" r=\"5\""));  // the post
    EXPECT_THAT(svg, HasSubstr("<circle cx=\"286.0\" cy=\"270.0\" r=\"7\""));  // the listener
    // The listener faces up the page.
    EXPECT_THAT(svg, HasSubstr("<line x1=\"286.0\" y1=\"263.0\" x2=\"286.0\" y2=\"247.0\""));
    EXPECT_THAT(svg, HasSubstr(">walker</text>"));
    EXPECT_THAT(svg, HasSubstr(">post</text>"));
    EXPECT_THAT(svg, HasSubstr(">listener</text>"));
}

TEST(SvgScenePlot, DocumentParsesWhateverTheSceneNames) {
    const std::string controlled(
        "a\0b\x01"
        "c\xff<&>\"d",
        11);
    std::string accented;
    for (int index = 0; index < 40; ++index) {
        accented += "\xc3\xa9";  // é
    }
    const std::string svg = PlotScene(
        SteadyTrace(1),
        SceneOf(1, {Source(controlled, {{0, {1, 0, 0}}}), Source(accented, {{0, {2, 0, 0}}}, {0})}),
        "title \x1b[31m");

    const std::string replaced = "\xef\xbf\xbd";  // U+FFFD
    EXPECT_THAT(svg, HasSubstr(">a" + replaced + "b" + replaced + "c" + replaced +
                               "&lt;&amp;&gt;&quot;d</text>"));
    EXPECT_THAT(svg, HasSubstr(">title " + replaced + "[31m</text>"));
    // Separators and direction controls would break a label or turn its neighbours.
    const std::string moved =
        PlotScene(SteadyTrace(1), SceneOf(1, {Source("x\u2028y\u202Ez", {{0, {1, 0, 0}}})}), "t");
    EXPECT_THAT(moved, HasSubstr(">x" + replaced + "y" + replaced + "z</text>"));
    // Cut short between characters, not inside one.
    EXPECT_THAT(svg, HasSubstr(">play " + accented.substr(0, 2 * 24) + "... (0 s)</text>"));
    EXPECT_TRUE(ParsesAsXml(svg));
    std::string unescaped = svg;  // the parser does see such characters
    unescaped.insert(unescaped.rfind("</svg>"), "\x01");
    EXPECT_FALSE(ParsesAsXml(unescaped));
}

TEST(SvgScenePlot, StaysSmallWhateverTheScene) {
    // 100,000 play times and 100,000 keyframes over 1,000 s.
    SceneSource busy = Source("busy", {});
    for (int index = 0; index < 100000; ++index) {
        busy.play.push_back(index * 0.01);
        busy.position.push_back(
            {index * 0.01, {static_cast<float>(index % 7), 0, static_cast<float>(index % 5)}});
    }
    const std::string svg = PlotScene(SteadyTrace(1000), SceneOf(1000, {busy}), "busy");

    EXPECT_LT(svg.size(), 1'000'000u);
    EXPECT_THAT(svg, HasSubstr("more events, marked at the top</text>"));
    EXPECT_THAT(svg, Not(HasSubstr("nan")));
}

}  // namespace
