#include <gtest/gtest.h>

#include <string>

#include <xercesc/dom/DOM.hpp>

#include "settings/XmlDocument.h"
#include "settings/SettingsFixture.h"
#include "support/TestPaths.h"

using settingstest::ReadText;
using settingstest::WriteText;

namespace {

int LineCount(const std::string& text) {
    int lines = 0;
    for (char c : text) lines += c == '\n';
    return lines;
}

}  // namespace

TEST(XmlDocument, CreatedDocumentSurvivesSaveAndLoad) {
    ubxtest::TempDir temp;
    // Blanks and '#' in the name: the path must reach the file system as it is.
    const std::string path = temp.File("my settings #1.xml");
    {
        CXmlDocument document;
        const CXmlNode root = document.Create("Products");
        ASSERT_FALSE(root.IsNull());
        const CXmlNode product = document.AddElement(root, "Product");
        document.AddElement(product, "Name", "Zürich & <Söhne>");
        document.AddElement(product, "Date", "");
        document.AddElement(product, "Empty");
        ASSERT_TRUE(document.Save(path));
    }
    CXmlDocument document;
    ASSERT_TRUE(document.Load(path));
    EXPECT_EQ(document.GetRoot().GetName(), "Products");
    ASSERT_EQ(document.GetElementsByName("Name").Count(), 1);
    EXPECT_EQ(document.GetElementsByName("Name").Item(0).GetText(), "Zürich & <Söhne>");
    EXPECT_EQ(document.GetElementsByName("Date").Item(0).GetText(), "");
    EXPECT_EQ(document.GetElementsByName("Empty").Count(), 1);
    EXPECT_GT(LineCount(ReadText(path)), 3) << "the file is written pretty-printed";

    // Saving a loaded file again must give the same bytes, round after round
    // (after the first, in which the empty text node of Date goes).
    std::string previous;
    for (int round = 0; round < 4; ++round) {
        CXmlDocument again;
        ASSERT_TRUE(again.Load(path));
        ASSERT_TRUE(again.Save(path));
        if (round > 0) {
            EXPECT_EQ(ReadText(path), previous) << "round " << round;
        }
        previous = ReadText(path);
    }
}

TEST(XmlDocument, SaveDropsTextNodesWithLineFeedsOnly) {
    ubxtest::TempDir temp;
    WriteText(temp.File("in.xml"),
              "<r>\n  <a>x</a>\n  <b>line 1\nline 2</b>\n  <c> </c>\n  <d><![CDATA[c\nd]]></d>\n</r>\n");
    {
        CXmlDocument document;
        ASSERT_TRUE(document.Load(temp.File("in.xml")));
        ASSERT_TRUE(document.Save(temp.File("out.xml")));
    }
    CXmlDocument document;
    ASSERT_TRUE(document.Load(temp.File("out.xml")));
    EXPECT_EQ(document.GetElementsByName("a").Item(0).GetText(), "x");
    EXPECT_EQ(document.GetElementsByName("b").Item(0).GetText(), "");
    EXPECT_EQ(document.GetElementsByName("c").Item(0).GetText(), " ");
    EXPECT_EQ(document.GetElementsByName("d").Item(0).GetText(), "c\nd") << "CDATA is no #text node";
}

TEST(XmlDocument, LoadFailsWithoutAWellFormedFile) {
    ubxtest::TempDir temp;
    struct Case {
        const char* name;
        const char* content;  // null: no file
    };
    const Case cases[] = {
        {"missing.xml", nullptr},
        {"empty.xml", ""},
        {"unclosed.xml", "<r><a></r>"},
        {"prose.xml", "hello"},
        {"two-roots.xml", "<a/><b/>"},
    };
    for (const Case& c : cases) {
        if (c.content != nullptr) WriteText(temp.File(c.name), c.content);
        CXmlDocument document;
        document.Create("before");
        EXPECT_FALSE(document.Load(temp.File(c.name))) << c.name;
        EXPECT_TRUE(document.IsEmpty()) << c.name << ": the earlier document is dropped";
        EXPECT_EQ(document.GetElementsByName("a").Count(), 0) << c.name;
        EXPECT_FALSE(document.Save(temp.File("never.xml"))) << c.name;
    }
    CXmlDocument document;
    EXPECT_FALSE(document.Load(temp.Path().string())) << "a folder";
}

TEST(XmlDocument, LoadsWithoutGrammarOrNamespaceDeclarations) {
    // Validation is asked for, but a file without a grammar must still load.
    ubxtest::TempDir temp;
    WriteText(temp.File("plain.xml"), "<?xml version=\"1.0\"?>\n<p:root xmlns:p='urn:x'><p:key>v</p:key></p:root>");
    WriteText(temp.File("unbound.xml"), "<p:root><p:key>v</p:key></p:root>");
    WriteText(temp.File("dtd.xml"),
              "<!DOCTYPE r [<!ELEMENT r (k)> <!ELEMENT k (#PCDATA)>]><r><k>v</k><extra/></r>");
    CXmlDocument document;
    EXPECT_TRUE(document.Load(temp.File("plain.xml")));
    EXPECT_FALSE(document.Load(temp.File("unbound.xml"))) << "namespaces are checked";
    EXPECT_TRUE(document.Load(temp.File("dtd.xml"))) << "validity errors do not stop a load";
    EXPECT_EQ(document.GetElementsByName("k").Item(0).GetText(), "v");
}

TEST(XmlDocument, ElementsAndAttributesAsLoaded) {
    ubxtest::TempDir temp;
    WriteText(temp.File("utc.xml"),
              "<table><offset endyear='2017' endmonth='1' value='17'/>"
              "<group><offset value='18'/></group><offset/>text</table>");
    CXmlDocument document;
    ASSERT_TRUE(document.Load(temp.File("utc.xml")));
    const CXmlNodeList offsets = document.GetElementsByName("offset");
    ASSERT_EQ(offsets.Count(), 3);
    EXPECT_TRUE(offsets.Item(3).IsNull());
    EXPECT_TRUE(offsets.Item(-1).IsNull());
    EXPECT_EQ(document.GetElementsByName("nothing").Count(), 0);

    const CXmlAttributes first = offsets.Item(0).GetAttributes();
    ASSERT_EQ(first.Count(), 3);
    EXPECT_EQ(first.GetNamedItem("endyear").GetText(), "2017");
    EXPECT_EQ(first.GetNamedItem("value").GetName(), "value");
    EXPECT_TRUE(first.GetNamedItem("endday").IsNull());
    EXPECT_TRUE(first.Item(5).IsNull());
    EXPECT_EQ(offsets.Item(1).GetAttributes().GetNamedItem("value").GetText(), "18")
        << "elements come in document order at any depth";
    EXPECT_EQ(offsets.Item(2).GetAttributes().Count(), 0);
    EXPECT_FALSE(offsets.Item(2).GetAttributes().IsNull());

    const CXmlNode root = document.GetRoot();
    EXPECT_EQ(root.GetText(), "text");
    // A text node has no attribute list at all.
    const CXmlNode text(root.Handle()->getLastChild());
    EXPECT_EQ(text.GetName(), "#text");
    EXPECT_TRUE(text.GetAttributes().IsNull());
}

TEST(XmlDocument, DocumentsComeAndGoInRounds) {
    ubxtest::TempDir temp;
    ASSERT_EQ(CXmlDocument::UseCount(), 0);
    // Each round starts with no document alive, as each conversion does.
    for (int round = 0; round < 3; ++round) {
        CXmlDocument outer;
        {
            CXmlDocument inner;
            EXPECT_EQ(CXmlDocument::UseCount(), 2);
            inner.AddElement(inner.Create("r"), "k", std::to_string(round));
            ASSERT_TRUE(inner.Save(temp.File("r.xml")));
        }
        EXPECT_EQ(CXmlDocument::UseCount(), 1);
        ASSERT_TRUE(outer.Load(temp.File("r.xml")));
        EXPECT_EQ(outer.GetElementsByName("k").Item(0).GetText(), std::to_string(round));
    }
    EXPECT_EQ(CXmlDocument::UseCount(), 0);
}
