// Handles on XML nodes with attributes: elements and declarations.
#pragma once

#include <cstdint>
#include <string>

#include <vdx/export.h>
#include <vdx/xml_node.h>

// A handle on a node with attributes: kind 3, 4, or a document made by
// chXmlDocument. A node without room for attributes has none and takes none.
//
// Names compare by sameXmlKeyName, values byte for byte. A name occurs once.
// Lookups walk the list from its start.
class VDX_API chXmlAttributeObject : public chXmlObject {
public:
    chXmlAttributeObject() = default;
    chXmlAttributeObject(const chXmlObject& other) : chXmlObject(other) {}  // Shares the node.

    // 0 for an empty handle.
    std::int32_t GetAttributeCount() const;

    // The attributes, for iterating; null for an empty handle.
    //   for (const auto& [szName, szValue] : *element.GetAttributeData()) ...
    const xmlAttributeList* GetAttributeData() const;

    // The stored value, or null. Valid until the attribute is removed or its node
    // freed; may be written to.
    std::string* FindAttributeValue(const std::string& szName) const;

    // A copy of the value, or of szDefault if there is no such attribute.
    std::string GetAttributeValue(const std::string& szName, const std::string& szDefault) const;

    // Changes a value in place (the name keeps its first spelling), or appends the
    // pair. False if the value was equal already, or the node takes no attributes.
    bool SetAttributeValue(const std::string& szName, const std::string& szValue);

    // Removes the attribute whose value is stored at that address (from
    // FindAttributeValue); another address changes nothing.
    void FastRemoveAttributeValue(std::string* pValue);

    // Reads the inside of a start tag, name and attributes, into this node (an empty
    // handle receives an element). Returns the rest, which is empty. Throws as
    // chXmlObject::parseContent.
    std::string parseContent(const std::string& szText) override;

protected:
    // Takes over one count.
    chXmlAttributeObject(xmlNodeData* pNode, adopt_t adopt) : chXmlObject(pNode, adopt) {}
    // parseContent; an empty handle receives a node of that kind.
    std::string parseAs(xmlType nType, const std::string& szText);
};

// A handle on an element.
//
// An "option" is a setting kept as a child element whose first child is a text:
// <port>80</port> is the option port.
class VDX_API chXmlElement : public chXmlAttributeObject {
public:
    chXmlElement() = default;

    // A new root element without attributes.
    explicit chXmlElement(const std::string& szName);

    // Shares the node if it is an element; otherwise the handle is empty.
    chXmlElement(const chXmlObject& other);

    // Moves on to the next sibling that is an element.
    chXmlElement& operator++();

    // The first child element, or the next sibling element, that has such an
    // attribute (sameXmlKeyName) with exactly that value.
    chXmlElement FindChildAttribute(const std::string& szName, const std::string& szValue) const;
    chXmlElement FindNextAttribute(const std::string& szName, const std::string& szValue) const;

    // The text of the option, or the default if there is no such child element or
    // its first child is no text.
    std::string GetOption(const std::string& szName, const std::string& szDefault) const;

    // Sets the option, adding the child element or its text where missing (before
    // other children). False if it has that text already.
    bool SetOption(const std::string& szName, const std::string& szValue);

    // A deep copy, as a root; shares nothing with the source.
    chXmlElement clone() const;

    // Reads the rest of an element, from just after its "<" to the end of its end
    // tag, into this node (an empty handle receives an element). Returns the rest
    // without white space at its ends. Throws as chXmlObject::parseContent.
    //
    // Kept: a start tag ends at the first ">", quoted or not; so write "&gt;" inside
    // of values, as ExportToText does.
    std::string parseContent(const std::string& szText) override;

private:
    friend class chXmlObject;
    chXmlElement(xmlNodeData* pNode, adopt_t adopt) : chXmlAttributeObject(pNode, adopt) {}
};

// A handle on a declaration: <?name attributes?>.
class VDX_API chXmlDeclaration : public chXmlAttributeObject {
public:
    chXmlDeclaration() = default;

    // Shares the node if it is a declaration; otherwise the handle is empty.
    chXmlDeclaration(const chXmlObject& other);

    // Reads one declaration up to "?>" into this node (an empty handle receives
    // one); the text begins with its "<?" or just after it. Returns the rest.
    // Throws as chXmlObject::parseContent.
    std::string parseContent(const std::string& szText) override;
};
