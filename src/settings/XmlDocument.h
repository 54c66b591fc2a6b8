#pragma once
// A small DOM wrapper over Xerces-C for the installation's XML files
// (lodestar.settings, manufact.utc). Strings cross as UTF-8, the 8-bit text
// of the system; no operation throws.
#include <string>

#include <xercesc/util/XercesDefs.hpp>

XERCES_CPP_NAMESPACE_BEGIN
class DOMDocument;
class DOMNode;
class DOMNodeList;
class DOMNamedNodeMap;
XERCES_CPP_NAMESPACE_END

class CXmlAttributes;

// A node of a loaded or created document; valid as long as its document.
// A null node answers every question with empty text.
class CXmlNode {
public:
    CXmlNode() = default;
    explicit CXmlNode(xercesc::DOMNode* node) : node(node) {}

    bool IsNull() const { return node == nullptr; }
    std::string GetName() const;
    // The text content: the concatenated text below an element, the value of
    // an attribute.
    std::string GetText() const;
    // Replaces all content with one text node; false for a null node.
    bool SetText(const std::string& text);
    CXmlAttributes GetAttributes() const;
    xercesc::DOMNode* Handle() const { return node; }

private:
    xercesc::DOMNode* node = nullptr;
};

// The attributes of an element; null for a node that has none (text nodes).
class CXmlAttributes {
public:
    CXmlAttributes() = default;
    explicit CXmlAttributes(xercesc::DOMNamedNodeMap* map) : map(map) {}

    bool IsNull() const { return map == nullptr; }
    int Count() const;
    CXmlNode Item(int index) const;
    CXmlNode GetNamedItem(const std::string& name) const;

private:
    xercesc::DOMNamedNodeMap* map = nullptr;
};

// A live list of elements in document order.
class CXmlNodeList {
public:
    CXmlNodeList() = default;
    explicit CXmlNodeList(xercesc::DOMNodeList* list) : list(list) {}

    int Count() const;
    CXmlNode Item(int index) const;

private:
    xercesc::DOMNodeList* list = nullptr;
};

class CXmlDocument {
public:
    // The first living document initialises Xerces-C and the last one to go
    // terminates it, so the library is up exactly while it is in use.
    CXmlDocument();
    ~CXmlDocument();
    CXmlDocument(const CXmlDocument&) = delete;
    CXmlDocument& operator=(const CXmlDocument&) = delete;

    // False if the file does not exist or does not parse; the previous
    // document is dropped either way.
    bool Load(const std::string& path);
    // Writes pretty-printed UTF-8. Text nodes holding a line feed are removed
    // first: they are the indentation of the last save, and the serialiser
    // would otherwise indent around them again at every save.
    bool Save(const std::string& path);
    // A new document with one root element; the root, or a null node.
    CXmlNode Create(const std::string& rootName);

    CXmlNode GetRoot() const;
    CXmlNode AddElement(const CXmlNode& parent, const std::string& name);
    CXmlNode AddElement(const CXmlNode& parent, const std::string& name, const std::string& text);
    CXmlNodeList GetElementsByName(const std::string& name) const;
    bool IsEmpty() const { return document == nullptr; }

    // Documents alive in the process.
    static int UseCount();

private:
    void Release();

    xercesc::DOMDocument* document = nullptr;
};
