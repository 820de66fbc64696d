// The factory information document: its XML, and nothing of files and packets.
#include "factory/factory_info_document.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <unordered_map>

#include "platform/include/log.h"

namespace {

constexpr const char* kRootName = "FactoryInfo";
constexpr const char* kSizeName = "sizeOf";
constexpr size_t kMaxDocument = 1 << 20;  // far more than every key of every tool

struct DocFree {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};
struct XmlFree {
    void operator()(xmlChar* text) const { xmlFree(text); }
};
using UniqueDoc = std::unique_ptr<xmlDoc, DocFree>;
using UniqueXmlText = std::unique_ptr<xmlChar, XmlFree>;

const xmlChar* xml(const char* text) { return reinterpret_cast<const xmlChar*>(text); }
const char* plain(const xmlChar* text) { return text != nullptr ? reinterpret_cast<const char*>(text) : ""; }

// Takes the blanks between elements away, which saving writes anew. The parser's own option for that would take the
// value of an element that holds blanks beside a comment as well.
void drop_indentation(xmlNode* parent, int depth) {
    constexpr int kDeepest = 256;  // the parser's own limit
    const bool structural = parent != nullptr && (depth == 0 || xmlFirstElementChild(parent) != nullptr);
    for (xmlNode* child = structural && depth <= kDeepest ? parent->children : nullptr; child != nullptr;) {
        xmlNode* const next = child->next;
        if (child->type == XML_ELEMENT_NODE) {
            drop_indentation(child, depth + 1);
        } else if (xmlIsBlankNode(child) != 0) {
            xmlUnlinkNode(child);
            xmlFreeNode(child);
        }
        child = next;
    }
}

// Parses a document. Null: not well-formed, too large, or with a document type, which is where entities and external
// references would come from.
UniqueDoc parse(const std::string& document, const char* encoding) {
    if (document.size() > kMaxDocument) {
        return nullptr;
    }
    constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
    UniqueDoc doc(xmlReadMemory(document.data(), static_cast<int>(document.size()), nullptr, encoding, kOptions));
    if (!doc || doc->intSubset != nullptr) {
        return nullptr;
    }
    drop_indentation(xmlDocGetRootElement(doc.get()), 0);
    return doc;
}

// The name as it stands in the document, prefix included.
std::string element_name(const xmlNode* node) {
    const bool prefixed = node->ns != nullptr && node->ns->prefix != nullptr;
    return prefixed ? std::string(plain(node->ns->prefix)) + ":" + plain(node->name) : plain(node->name);
}

// The elements below the root, by name, in the order of the document: a request may name thousands of a store with
// thousands.
using KeyIndex = std::unordered_map<std::string, std::vector<xmlNode*>>;

KeyIndex index_of(xmlNode* root) {
    KeyIndex index;
    for (xmlNode* node = root->children; node != nullptr; node = node->next) {
        if (node->type == XML_ELEMENT_NODE) {
            index[element_name(node)].push_back(node);
        }
    }
    return index;
}

bool is_info_root(const xmlNode* root) { return element_name(root) == kRootName; }

// Replaces the text of an element; comments inside it stay.
bool set_text(xmlNode* node, const std::string& value) {
    for (xmlNode* child = node->children; child != nullptr;) {
        xmlNode* next = child->next;
        if (child->type != XML_COMMENT_NODE) {
            xmlUnlinkNode(child);
            xmlFreeNode(child);
        }
        child = next;
    }
    if (value.empty()) {
        return true;
    }
    xmlNode* text = xmlNewTextLen(xml(value.c_str()), static_cast<int>(value.size()));
    return text != nullptr && xmlAddChild(node, text) != nullptr;
}

bool set_key(xmlNode* root, KeyIndex* index, const FactoryKey& key) {
    std::vector<xmlNode*>& nodes = (*index)[key.name];
    if (nodes.empty()) {
        nodes.push_back(xmlNewChild(root, nullptr, xml(key.name.c_str()), nullptr));
    }
    xmlNode* const node = nodes.front();
    const std::string size = std::to_string(key.value.size());
    return node != nullptr && xmlSetProp(node, xml(kSizeName), xml(size.c_str())) != nullptr &&
           set_text(node, key.value);
}

bool is_xml_character(int c) {
    return c == '\t' || c == '\n' || c == '\r' || (c >= 0x20 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD) ||
           (c >= 0x10000 && c <= 0x10FFFF);
}

// Bytes of a character's shortest form; the parser refuses every other one.
int utf8_length(int c) {
    if (c < 0x80) {
        return 1;
    }
    return c < 0x800 ? 2 : (c < 0x10000 ? 3 : 4);
}

// True when the text is UTF-8 of characters that may stand in a document.
bool is_xml_text(const std::string& text) {
    for (size_t at = 0; at < text.size();) {
        int length = static_cast<int>(std::min<size_t>(text.size() - at, 4));
        const int c = xmlGetUTF8Char(xml(text.data() + at), &length);
        if (c < 0 || length != utf8_length(c) || !is_xml_character(c)) {
            return false;
        }
        at += static_cast<size_t>(length);
    }
    return xmlCheckUTF8(xml(text.c_str())) != 0;
}

bool is_storable(const FactoryKey& key) {
    return is_xml_text(key.name) && xmlValidateName(xml(key.name.c_str()), 0) == 0 && is_xml_text(key.value);
}

// False without memory, or (logged) when the document has grown so large that it could not be read again.
bool serialise(xmlDoc* doc, std::string* out) {
    xmlChar* memory = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(doc, &memory, &size, "UTF-8", 1);
    const UniqueXmlText own(memory);
    if (memory == nullptr || size <= 0) {
        return false;
    }
    if (static_cast<size_t>(size) > kMaxDocument) {
        ALOGE("factory xml file would be too large\n");
        return false;
    }
    out->assign(plain(memory), static_cast<size_t>(size));
    return true;
}

// The value of a record: as many bytes as its size says, cut to 8 bits; zeros stand for what the text lacks.
std::string record_value(xmlNode* node) {
    const UniqueXmlText size(xmlGetNoNsProp(node, xml(kSizeName)));
    const UniqueXmlText text(xmlNodeGetContent(node));
    ALOGD("val = %s\n", plain(text.get()));
    std::string value = plain(text.get());
    value.resize(static_cast<size_t>(strtol(plain(size.get()), nullptr, 10) & 0xFF));
    return value;
}

}  // namespace

bool factory_info_storable(const std::vector<FactoryKey>& keys) {
    return std::all_of(keys.begin(), keys.end(), is_storable);
}

FactoryInfoStatus factory_info_update(const std::string* document, const std::vector<FactoryKey>& keys,
                                      std::string* out) {
    UniqueDoc doc = document != nullptr ? parse(*document, "UTF-8") : UniqueDoc(xmlNewDoc(xml("1.0")));
    if (!doc) {
        ALOGE("%s factory xml file error\n", document != nullptr ? "read" : "create");
        return kInfoFailed;
    }
    xmlNode* root = xmlDocGetRootElement(doc.get());
    if (root == nullptr && document == nullptr) {
        root = xmlNewNode(nullptr, xml(kRootName));
        if (root != nullptr) {
            xmlDocSetRootElement(doc.get(), root);
        }
    }
    if (root == nullptr) {
        ALOGE("empty document\n");
        return kInfoWrongRoot;
    }
    if (!is_info_root(root)) {
        ALOGE("root node != FactoryInfo\n");
        return kInfoWrongRoot;
    }
    KeyIndex index = index_of(root);
    const bool stored = std::all_of(keys.begin(), keys.end(),
                                    [root, &index](const FactoryKey& key) { return set_key(root, &index, key); });
    return stored && serialise(doc.get(), out) ? kInfoOk : kInfoFailed;
}

FactoryInfoStatus factory_info_find(const std::string& document, const char* path,
                                    const std::vector<FactoryKey>& requested, size_t room,
                                    std::vector<FactoryKey>* found) {
    const UniqueDoc doc = parse(document, nullptr);
    if (!doc) {
        ALOGE("failed to parse XML file %s", path);
        return kInfoFailed;
    }
    xmlNode* const root = xmlDocGetRootElement(doc.get());
    if (root == nullptr) {
        ALOGE("failed to get root element");
        return kInfoWrongRoot;
    }
    if (!is_info_root(root)) {
        ALOGE("document of the wrong type, root node != FactoryInfo");
        return kInfoWrongRoot;
    }
    const KeyIndex index = index_of(root);
    for (const FactoryKey& key : requested) {
        const auto nodes = index.find(key.name);
        for (size_t i = 0; nodes != index.end() && i < nodes->second.size(); ++i) {
            const std::string value = record_value(nodes->second[i]);
            const size_t size = key.name.size() + value.size() + 2;
            if (size > room) {
                return kInfoIncomplete;
            }
            room -= size;
            found->push_back({key.name, value});
        }
    }
    return kInfoOk;
}

void factory_info_for_each(const std::string& document, const char* path, const char* name,
                           const std::function<void(const char* key, const char* value)>& each) {
    const UniqueDoc doc = parse(document, nullptr);
    if (!doc) {
        ALOGE("%s failed to parse XML file %s\n", name, path);
        return;
    }
    const xmlNode* root = xmlDocGetRootElement(doc.get());
    if (root == nullptr) {
        ALOGE("%s failed to get root element\n", name);
        return;
    }
    if (!is_info_root(root)) {
        ALOGE("%s root node != FactoryInfo\n", name);
        return;
    }
    for (xmlNode* node = root->children; node != nullptr; node = node->next) {
        if (node->type == XML_ELEMENT_NODE) {
            const UniqueXmlText text(xmlNodeGetContent(node));
            each(element_name(node).c_str(), plain(text.get()));
        }
    }
}
