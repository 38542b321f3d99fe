// A segment that is copied to another place and works there; nodes of one size; snapshots of pointers.
#include <cstdio>
#include <cstring>
#include <new>

#include <vdx/node_alloc.h>
#include <vdx/pool.h>
#include <vdx/share_pointer.h>
#include <vdx/share_string.h>
#include <vdx/warnings.h>

namespace {

struct Node {
    share_pointer next;
    int nValue;
};

struct Record {
    baseShareStringA name;
    share_pointer first;
};

Node* makeNode(basePoolAlloc* pPool, int nValue) {
    auto* pNode = new (pPool->alloc(sizeof(Node))) Node;
    pNode->nValue = nValue;
    return pNode;
}

Record* makeRecord(basePoolAlloc* pPool) {
    auto* pRecord = new (pPool->alloc(sizeof(Record))) Record;
    auto* pText = static_cast<baseShareTextA*>(pPool->alloc(baseShareTextA::bytes_for(5)));
    pText->set_Text("queue");
    pRecord->name.set_Text(pText);
    consolePrintf(false, "%s", pRecord->name.c_str());

    Node* pNode = makeNode(pPool, 7);
    Node* pOther = makeNode(pPool, 8);
    pNode->next.setPointer(pOther);
    pRecord->first.setPointer(pNode);
    return pRecord;
}

// Reads what makeRecord has made, wherever it lies now.
bool isWhole(const Record* pRecord) {
    const Node* pNode = static_cast<Node*>(pRecord->first.pointer());
    Node* pNext = static_cast<Node*>(pNode->next.pointer());
    return pRecord->name.view() == "queue" && pNode->nValue == 7 && pNext->nValue == 8;
}

bool movesWhole() {
    alignas(8) static unsigned char segment[8 + sizeof(basePoolAlloc) + 4096];
    auto* pPool = new (segment + 8) basePoolAlloc;
    pPool->init_pool(segment + 8 + sizeof(basePoolAlloc), 4096);
    void* p = pPool->alloc(100);
    const auto nPlace = reinterpret_cast<unsigned char*>(makeRecord(pPool)) - segment;
    pPool->free(p);

    alignas(8) static unsigned char copy[sizeof segment];
    std::memcpy(copy, segment, sizeof segment);
    std::memset(segment, 0, sizeof segment);
    return isWhole(reinterpret_cast<const Record*>(copy + nPlace));
}

void lendNode() {
    baseDynamicNodeAlloc_block nodes;
    void* pNode = nodes.borrow_node(48, 256);
    nodes.return_node(pNode);
    nodes.cleanup_nodes();
    baseDymicAlloc::dump();
}

// A task that runs later asks whether its object is still the one it has seen.
bool seesEnd() {
    int nSession = 1;
    int* pSession = &nSession;
    int nUsed = 0;
    const auto use = [&](int nValue) { nUsed += nValue; };
    chPointerSnap::addSafePointer(pSession);
    chPointerSnap snap(pSession);
    for (int nTask = 0; nTask < 2; ++nTask) {
        if (snap.hasData()) use(*pSession);
        chPointerSnap::removeSafePointer(pSession);
    }
    return nUsed == 1;
}

}  // namespace

int main() {
    lendNode();
    return movesWhole() && seesEnd() ? 0 : 1;
}
