// XML: documents in memory, as text and as crash-safe files.
#pragma once

#include <string>
#include <type_traits>
#include <vector>

#include <vdx/export.h>
#include <vdx/xml_element.h>
#include <vdx/xml_node.h>

// Example:
//   chXmlFile file(szPath);  // Empty if there is none yet.
//   chXmlElement config = file.getChildElement();
//   if (!config.hasData()) {
//       config = file.AddChildElement("config");
//       config.SetOption("port", "8080");
//       ...
//   }
//   const int nRuns = std::atoi(config.GetOption("runs", "0").c_str()) + 1;
//   config.SetOption("runs", print(chVarArgs(nRuns)));
//   if (!file.SaveToFile("")) {
//
// The texts are bytes, UTF-8 in practice: there is no validation, no DTD, no
// namespace and no change of character encoding.

// A document: a node of kind 6 over everything that a text holds.
class VDX_API chXmlDocument : public chXmlObject {
public:
    chXmlDocument();  // A new document without children.

    // The document that a text describes, or an empty one when any of it cannot be
    // read: there is no partial tree and no position of the error.
    //
    // Unreadable are: unclosed comments, CDATA, declarations, tags, values and
    // elements; a name that is empty or holds white space or one of "=<>; an
    // attribute without a quoted value; an end tag that differs from its start tag
    // (here case counts); text after the last element or comment. Time and memory
    // are linear in the size of the text.
    static chXmlDocument ParseDocument(const std::string& szText);

protected:
    // Replaces this document by the text's. False, and an empty document, if it
    // cannot be read.
    bool readText(const std::string& szText);

private:
    struct unreported_t {};
    explicit chXmlDocument(unreported_t);  // The leak report does not know of it yet.
};

// A document bound to a file, which a crash at any moment does not damage.
//
// A save writes <path>.new, brings it to the disk and then renames: the old file
// to <path>.old, the new one to <path>; last <path>.old is removed. A load, and a
// save, looks for these companions first and repairs what an interrupted save left;
// so these two names belong to the file.
//
// Thread-safety: none; saving a file while another process saves or loads it needs a
// lock of their own: a load takes what it finds for the rest of an interrupted save.
class VDX_API chXmlFile : public chXmlDocument {
public:
    // A new document; loads the file if the path is not empty.
    explicit chXmlFile(const std::string& szPath = {});

    // Replaces the document by the file's and remembers the path. False, with an
    // empty document, if the file cannot be read or is no XML; an empty file is an
    // empty document. std::bad_alloc leaves document and path as they were.
    bool LoadFromFile(const std::string& szPath);

    // Writes ExportToText(false); an empty path means the one of the last load.
    // True when the file is on the disk. False leaves the former file as it was, and
    // no other behind. An existing file keeps its permission bits.
    // Kept: what counts is the permission to write to the directory, so a read-only
    // file is replaced, too.
    bool SaveToFile(const std::string& szPath) const;

private:
    std::string m_szPath;
};

// --- Entities -----------------------------------------------------------------

// A copy in which " & ' < > stand as &quot; &amp; &apos; &lt; &gt;.
VDX_API std::string xmlText2XMLPhrase(const std::string& szText);

// The way back. Other entities and character references stay as they are, and what
// "&amp;" yields is not looked at again: "&amp;lt;" gives "&lt;".
VDX_API std::string xmlXMLPhrase2Text(const std::string& szPhrase);

// --- Elements named by an attribute ---------------------------------------------

// Gives an element the name by which getChildSoapByName finds it: its attribute
// "name". White space at the ends of the name is dropped. False if the element has
// that name already, or the handle is empty.
VDX_API bool setSoapName(chXmlElement& element, const std::string& szName);

// The first child element that has that name, or an empty handle.
VDX_API chXmlElement getChildSoapByName(const chXmlElement& parent, const std::string& szName);

// The first child element, or an empty handle.
VDX_API chXmlElement getChildSoap(const chXmlElement& parent);

// --- Typed arguments as text ------------------------------------------------------

// A short list of values, each kept as its text: what attributes and options store.
//   config.SetOption("origin", print(chVarArgs(12, ",", 2.5, ",", true)));  // 12,2.5,true
//
// Numbers are written in decimal (a double as the shortest text that reads back as
// the same value), bool as true or false, texts as they are.
class VDX_API chVarArgs {
public:
    // A list of these values, in order.
    template <class... Values>
    explicit chVarArgs(const Values&... values) {
        (add(values), ...);
    }

    // Each appends one value; a null text is the empty one.
    void add(bool bValue);
    void add(double dValue);
    void add(const char* szValue);
    void add(const std::string& szValue);
    template <class Integer>
    requires std::is_integral_v<Integer>
    void add(Integer nValue) {
        addInteger(std::is_signed_v<Integer> && nValue < Integer{0}, static_cast<unsigned long long>(nValue));
    }

    // The texts of the values.
    const std::vector<std::string>& values() const { return m_values; }

private:
    void addInteger(bool bNegative, unsigned long long nBits);
    std::vector<std::string> m_values;
};

// The number of bytes of the values' texts together.
VDX_API std::size_t byteof(const chVarArgs& args);

// The values' texts, one after the other.
VDX_API std::string print(const chVarArgs& args);
