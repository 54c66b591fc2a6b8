#include "settings/XmlDocument.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLUni.hpp>

using namespace xercesc;

namespace {

// The library runs on the host's thread, one conversion at a time, so the
// count needs no lock. Xerces-C is started by the first document and stays
// up for the life of the process: its start-up, which builds its Unicode
// tables, costs about as much as a fifth of the conversion of a large log,
// and a host converts many logs in one process.
int gUseCount = 0;
bool gXercesUp = false;

using XmlString = std::basic_string<XMLCh>;

const XMLCh kUtf8[] = u"UTF-8";
const char kUtf8Name[] = "UTF-8";
const XMLCh kLoadSave[] = u"LS";
const XMLCh kTextNodeName[] = u"#text";

// Text crosses as UTF-8 both ways, through the library's own transcoder.
std::string ToNarrow(const XMLCh* text) {
    if (text == nullptr || *text == 0) return {};
    try {
        TranscodeToStr narrow(text, kUtf8Name);
        return std::string(reinterpret_cast<const char*>(narrow.str()), narrow.length());
    } catch (...) {
        return {};
    }
}

XmlString ToWide(const std::string& text) {
    if (text.empty()) return {};
    try {
        TranscodeFromStr wide(reinterpret_cast<const XMLByte*>(text.data()), text.size(), kUtf8Name);
        return XmlString(wide.str(), wide.length());
    } catch (...) {
        return {};
    }
}

DOMImplementation* LoadSaveImplementation() {
    return DOMImplementationRegistry::getDOMImplementation(kLoadSave);
}

// Sets a boolean parameter only where the configuration accepts it.
void SetIfPossible(DOMConfiguration* config, const XMLCh* name, bool value) {
    if (config->canSetParameter(name, value)) config->setParameter(name, value);
}

bool HoldsLineFeed(const XMLCh* text) {
    if (text == nullptr) return false;
    for (; *text != 0; ++text)
        if (*text == u'\n') return true;
    return false;
}

void RemoveIndentation(DOMNode* node) {
    DOMNode* child = node->getFirstChild();
    while (child != nullptr) {
        DOMNode* next = child->getNextSibling();
        if (XMLString::equals(child->getNodeName(), kTextNodeName) &&
            HoldsLineFeed(child->getNodeValue())) {
            node->removeChild(child)->release();
        } else {
            RemoveIndentation(child);
        }
        child = next;
    }
}

// Without a handler the parser carries on past errors and hands back half a
// document. A fatal error (the file is not well-formed) ends the load; the
// errors of validation do not, since these files come without a grammar.
class FatalErrorCatcher : public DOMErrorHandler {
public:
    bool handleError(const DOMError& error) override {
        if (error.getSeverity() != DOMError::DOM_SEVERITY_FATAL_ERROR) return true;
        failed = true;
        return false;
    }
    bool failed = false;
};

template <typename Release>
struct ReleaseGuard {
    Release* object;
    ~ReleaseGuard() {
        if (object != nullptr) object->release();
    }
};

}  // namespace

// ---------------------------------------------------------------------------

std::string CXmlNode::GetName() const {
    if (node == nullptr) return {};
    try {
        return ToNarrow(node->getNodeName());
    } catch (...) {
        return {};
    }
}

std::string CXmlNode::GetText() const {
    if (node == nullptr) return {};
    try {
        return ToNarrow(node->getTextContent());
    } catch (...) {
        return {};
    }
}

bool CXmlNode::SetText(const std::string& text) {
    if (node == nullptr) return false;
    try {
        const XmlString wide = ToWide(text);
        node->setTextContent(wide.c_str());
        return true;
    } catch (...) {
        return false;
    }
}

CXmlAttributes CXmlNode::GetAttributes() const {
    if (node == nullptr) return CXmlAttributes();
    try {
        return CXmlAttributes(node->getAttributes());
    } catch (...) {
        return CXmlAttributes();
    }
}

int CXmlAttributes::Count() const {
    return map == nullptr ? 0 : static_cast<int>(map->getLength());
}

CXmlNode CXmlAttributes::Item(int index) const {
    if (map == nullptr || index < 0) return CXmlNode();
    return CXmlNode(map->item(static_cast<XMLSize_t>(index)));
}

CXmlNode CXmlAttributes::GetNamedItem(const std::string& name) const {
    if (map == nullptr) return CXmlNode();
    try {
        const XmlString wide = ToWide(name);
        return CXmlNode(map->getNamedItem(wide.c_str()));
    } catch (...) {
        return CXmlNode();
    }
}

int CXmlNodeList::Count() const {
    return list == nullptr ? 0 : static_cast<int>(list->getLength());
}

CXmlNode CXmlNodeList::Item(int index) const {
    if (list == nullptr || index < 0) return CXmlNode();
    return CXmlNode(list->item(static_cast<XMLSize_t>(index)));
}

// ---------------------------------------------------------------------------

CXmlDocument::CXmlDocument() {
    ++gUseCount;
    if (!gXercesUp) {
        try {
            XMLPlatformUtils::Initialize();
            gXercesUp = true;
        } catch (...) {
            gXercesUp = false;
        }
    }
}

CXmlDocument::~CXmlDocument() {
    Release();
    --gUseCount;
}

int CXmlDocument::UseCount() { return gUseCount; }

void CXmlDocument::Release() {
    if (document == nullptr) return;
    try {
        document->release();
    } catch (...) {
    }
    document = nullptr;
}

bool CXmlDocument::Load(const std::string& path) {
    Release();
    if (!gXercesUp) return false;
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) return false;

    // The bytes are read here rather than by the parser, so that the file
    // name never passes through the library's local code page.
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) return false;

    try {
        DOMImplementation* implementation = LoadSaveImplementation();
        if (implementation == nullptr) return false;
        DOMLSParser* parser = implementation->createLSParser(DOMImplementationLS::MODE_SYNCHRONOUS, nullptr);
        ReleaseGuard<DOMLSParser> parserGuard{parser};
        DOMConfiguration* config = parser->getDomConfig();
        SetIfPossible(config, XMLUni::fgDOMValidate, true);
        SetIfPossible(config, XMLUni::fgDOMNamespaces, true);
        SetIfPossible(config, XMLUni::fgDOMDatatypeNormalization, true);
        // The document outlives the parser, and nothing outside the file is
        // ever fetched: the converter makes no network use.
        SetIfPossible(config, XMLUni::fgXercesUserAdoptsDOMDocument, true);
        SetIfPossible(config, XMLUni::fgXercesDisableDefaultEntityResolution, true);
        FatalErrorCatcher errors;
        config->setParameter(XMLUni::fgDOMErrorHandler, static_cast<DOMErrorHandler*>(&errors));

        const XmlString systemId = ToWide(path);
        MemBufInputSource source(reinterpret_cast<const XMLByte*>(bytes.data()), bytes.size(),
                                 systemId.c_str(), false);
        Wrapper4InputSource input(&source, false);
        document = parser->parse(&input);
        if (errors.failed || document == nullptr || document->getDocumentElement() == nullptr) {
            Release();
            return false;
        }
        return true;
    } catch (...) {
        Release();
        return false;
    }
}

bool CXmlDocument::Save(const std::string& path) {
    if (document == nullptr || !gXercesUp) return false;
    MemBufFormatTarget target;
    try {
        RemoveIndentation(document);
        DOMImplementation* implementation = LoadSaveImplementation();
        if (implementation == nullptr) return false;
        DOMLSSerializer* serializer = implementation->createLSSerializer();
        ReleaseGuard<DOMLSSerializer> serializerGuard{serializer};
        SetIfPossible(serializer->getDomConfig(), XMLUni::fgDOMWRTFormatPrettyPrint, true);
        DOMLSOutput* output = implementation->createLSOutput();
        ReleaseGuard<DOMLSOutput> outputGuard{output};
        output->setEncoding(kUtf8);
        output->setByteStream(&target);
        if (!serializer->write(document, output)) return false;
    } catch (...) {
        return false;
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    out.write(reinterpret_cast<const char*>(target.getRawBuffer()),
              static_cast<std::streamsize>(target.getLen()));
    out.close();
    return static_cast<bool>(out);
}

CXmlNode CXmlDocument::Create(const std::string& rootName) {
    Release();
    if (!gXercesUp) return CXmlNode();
    try {
        DOMImplementation* implementation = LoadSaveImplementation();
        if (implementation == nullptr) return CXmlNode();
        const XmlString name = ToWide(rootName);
        document = implementation->createDocument(nullptr, name.c_str(), nullptr);
        return GetRoot();
    } catch (...) {
        Release();
        return CXmlNode();
    }
}

CXmlNode CXmlDocument::GetRoot() const {
    if (document == nullptr) return CXmlNode();
    return CXmlNode(document->getDocumentElement());
}

CXmlNode CXmlDocument::AddElement(const CXmlNode& parent, const std::string& name) {
    if (document == nullptr || parent.IsNull()) return CXmlNode();
    try {
        const XmlString wide = ToWide(name);
        DOMElement* element = document->createElement(wide.c_str());
        parent.Handle()->appendChild(element);
        return CXmlNode(element);
    } catch (...) {
        return CXmlNode();
    }
}

CXmlNode CXmlDocument::AddElement(const CXmlNode& parent, const std::string& name,
                                  const std::string& text) {
    CXmlNode element = AddElement(parent, name);
    if (element.IsNull()) return element;
    try {
        const XmlString wide = ToWide(text);
        element.Handle()->appendChild(document->createTextNode(wide.c_str()));
    } catch (...) {
    }
    return element;
}

CXmlNodeList CXmlDocument::GetElementsByName(const std::string& name) const {
    if (document == nullptr) return CXmlNodeList();
    try {
        const XmlString wide = ToWide(name);
        return CXmlNodeList(document->getElementsByTagName(wide.c_str()));
    } catch (...) {
        return CXmlNodeList();
    }
}
