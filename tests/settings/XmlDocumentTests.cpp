// The XML document promises: what is created or loaded saves and loads back
// unchanged (UTF-8 text, any file name) and saves again to the same bytes;
// only well-formed files load; elements are found in document order.
#include <gtest/gtest.h>

#include <algorithm>

#include <xercesc/dom/DOM.hpp>

#include "settings/SettingsFixture.h"

using settingstest::ReadText;
using settingstest::WriteText;

class XmlDocumentTest : public ::testing::Test {
protected:
    bool Load(const std::string& text) {
        WriteText(temp.File("in.xml"), text);
        return document.Load(temp.File("in.xml"));
    }
    std::string First(const char* name) const { return document.GetElementsByName(name).Item(0).GetText(); }

    ubxtest::TempDir temp;
    CXmlDocument document;
};

TEST_F(XmlDocumentTest, SavedDocumentsLoadBackAndSaveAlike) {
    const std::string path = temp.File("my settings #1.xml");  // the name reaches the file system as it is
    EXPECT_EQ(CXmlDocument::UseCount(), 1) << "documents are counted while they live";
    const CXmlNode product = document.AddElement(document.Create("Products"), "Product");
    document.AddElement(product, "Name", "Zürich & <Söhne>");
    document.AddElement(product, "Date", "");
    ASSERT_TRUE(document.Save(path) && document.Load(path));
    EXPECT_EQ(document.GetRoot().GetName() + "|" + First("Name") + "|" + First("Date"), "Products|Zürich & <Söhne>|");
    const std::string first = ReadText(path);
    EXPECT_GT(std::count(first.begin(), first.end(), '\n'), 3) << "the file is written pretty-printed";
    // A loaded file saves to the same bytes, round after round (after the
    // first, in which the empty text node of Date goes).
    ASSERT_TRUE(document.Save(path) && document.Load(path) && document.Save(path));
    const std::string second = ReadText(path);
    ASSERT_TRUE(document.Load(path) && document.Save(path));
    EXPECT_EQ(ReadText(path), second);
    // Text nodes with a line feed go at a save; CDATA is no text node.
    ASSERT_TRUE(Load("<r>\n  <a>x</a>\n  <b>line 1\nline 2</b>\n  <c> </c>\n  <d><![CDATA[c\nd]]></d>\n</r>\n"));
    ASSERT_TRUE(document.Save(path) && document.Load(path));
    EXPECT_EQ(First("a") + "|" + First("b") + "|" + First("c") + "|" + First("d"), "x|| |c\nd");
}

TEST_F(XmlDocumentTest, OnlyWellFormedFilesLoad) {
    for (const char* text : {"", "<r><a></r>", "hello", "<a/><b/>", "<p:root><p:key>v</p:key></p:root>"}) {
        document.Create("a");
        EXPECT_FALSE(Load(text)) << text;
        EXPECT_TRUE(document.IsEmpty() && document.GetElementsByName("a").Count() == 0) << text << ": the old goes";
        EXPECT_FALSE(document.Save(temp.File("never.xml"))) << text;
    }
    EXPECT_FALSE(document.Load(temp.File("missing.xml")) || document.Load(temp.Path().string()));
    // Validation is asked for, but a file that breaks its own grammar still loads.
    EXPECT_TRUE(Load("<!DOCTYPE r [<!ELEMENT r (k)> <!ELEMENT k (#PCDATA)>]><r><k>v</k><extra/></r>"));
    EXPECT_EQ(First("k"), "v");
}

TEST_F(XmlDocumentTest, ElementsAndAttributesAsLoaded) {
    ASSERT_TRUE(Load("<t><offset endyear='2017' endmonth='1' value='17'/><g><offset value='18'/></g><offset/>x</t>"));
    const CXmlNodeList offsets = document.GetElementsByName("offset");
    ASSERT_EQ(offsets.Count(), 3);
    EXPECT_TRUE(offsets.Item(3).IsNull() && offsets.Item(-1).IsNull() && document.GetElementsByName("y").Count() == 0);
    const CXmlAttributes first = offsets.Item(0).GetAttributes();
    EXPECT_EQ(first.GetNamedItem("endyear").GetText() + "|" + first.GetNamedItem("value").GetName(), "2017|value");
    EXPECT_TRUE(first.Count() == 3 && first.GetNamedItem("endday").IsNull() && first.Item(5).IsNull());
    EXPECT_EQ(offsets.Item(1).GetAttributes().GetNamedItem("value").GetText(), "18") << "document order at any depth";
    EXPECT_TRUE(offsets.Item(2).GetAttributes().Count() == 0 && !offsets.Item(2).GetAttributes().IsNull());
    const CXmlNode text(document.GetRoot().Handle()->getLastChild());  // a text node has no attribute list at all
    EXPECT_TRUE(document.GetRoot().GetText() == "x" && text.GetName() == "#text" && text.GetAttributes().IsNull());
}
