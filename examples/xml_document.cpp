// Building a document, writing it, reading it again and asking it.
#include <cstdio>
#include <string>
#include <utility>

#include <vdx/xml.h>

namespace {

std::string makeServer() {
    chXmlElement server("server");
    server.SetAttributeValue("id", "7");
    server.SetOption("port", "8080");
    return server.ExportToText(true);
}

chXmlDocument makeOrder() {
    chXmlDocument document;
    chXmlObject declaration = document.AddChildObject(xmlDeclaration, "xml");
    chXmlAttributeObject(declaration).SetAttributeValue("version", "1.0");
    chXmlElement order = document.AddChildElement("order");
    order.SetAttributeValue("id", "1007");
    order.AddChildObject(xmlComment, "two items");
    for (const auto& [szSku, szTitle] : {std::pair{"A-1", "Nuts & bolts"}, std::pair{"B-2", "Wire, 3 m"}}) {
        chXmlElement item = order.AddChildElement("item");
        item.SetAttributeValue("sku", szSku);
        item.AddChildObject(xmlText, szTitle);
    }
    return document;
}

}  // namespace

int main() {
    const std::string szText = makeOrder().ExportToText(false);
    std::printf("%s\n", szText.c_str());

    // A text that cannot be read gives an empty document.
    const chXmlDocument document = chXmlDocument::ParseDocument(szText);
    const chXmlElement order = document["ORDER"];  // Names are found whatever their case.
    if (!order.hasData()) return 1;
    int nItems = 0;
    for (chXmlElement item = order["item"]; item.hasData(); item = item.FindNextElement("item")) {
        std::printf("%s: %s\n", item.GetAttributeValue("sku", "?").c_str(),
                    item.getChild().tagName().c_str());
        ++nItems;
    }

    // A subtree is copied, changed and moved without touching the original.
    chXmlElement wire = order.FindChildAttribute("sku", "B-2").clone();
    wire.SetAttributeValue("sku", "B-3");
    std::printf("%s\n", wire.ExportToText(true).c_str());
    const bool bUntouched = !order.FindChildAttribute("sku", "B-3").hasData();
    const bool bServer = makeServer() == "<server id=\"7\"><port>8080</port></server>";
    return nItems == 2 && bUntouched && bServer ? 0 : 1;
}
