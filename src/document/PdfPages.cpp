#include "document/PdfPages.h"

#include "document/PdfNesting.h"

#include <deque>
#include <string>
#include <unordered_set>
#include <vector>

namespace Vesk::Crypto {
namespace {

using namespace PoDoFo;

PdfObject* resolve(PdfMemDocument& document, PdfObject* object) {
    if (object == nullptr || !object->IsReference()) return object;
    return document.GetObjects().GetObject(object->GetReference());
}

[[noreturn]] void brokenTree(const std::string& why) {
    PODOFO_RAISE_ERROR_INFO(ePdfError_PageNotFound, ("page tree: " + why).c_str());
}

// Walks the page tree depth first without recursion, calling `leaf` with each page object and its
// ancestors (the root first); returns the number of pages.
long long walkPageTree(PdfMemDocument& document,
                       const std::function<void(PdfObject&, const std::deque<PdfObject*>&)>& leaf) {
    PdfPagesTree* tree = document.GetPagesTree();
    if (tree == nullptr || tree->GetObject() == nullptr) brokenTree("no root");

    // One frame per inner node on the path from the root: the node, its kids and the next kid.
    struct Frame {
        PdfObject* node;
        PdfArray* kids;
        size_t next;
    };
    std::vector<Frame> path;
    std::deque<PdfObject*> ancestors;
    std::unordered_set<const PdfObject*> visited;
    long long pages = 0;
    PdfObject* node = tree->GetObject();
    while (true) {
        if (node != nullptr) {
            if (!node->IsDictionary()) brokenTree("a node is not a dictionary");
            if (!visited.insert(node).second) brokenTree("a node appears twice");
            if (path.size() > kMaxPdfNesting) brokenTree("nested too deeply");
            PdfObject* kids = resolve(document, node->GetDictionary().GetKey("Kids"));
            const PdfObject* type = node->GetDictionary().GetKey(PdfName::KeyType);
            if (kids == nullptr || (type != nullptr && type->IsName() && type->GetName() == PdfName("Page"))) {
                ++pages;
                if (leaf) leaf(*node, ancestors);
            } else {
                if (!kids->IsArray()) brokenTree("/Kids is not an array");
                path.push_back({node, &kids->GetArray(), 0});
                ancestors.push_back(node);
            }
        }
        while (!path.empty() && path.back().next == path.back().kids->size()) {
            path.pop_back();
            ancestors.pop_back();
        }
        if (path.empty()) return pages;
        Frame& frame = path.back();
        node = resolve(document, &(*frame.kids)[frame.next++]);
        if (node == nullptr) brokenTree("a node is not a dictionary");
    }
}

void checkCount(PdfMemDocument& document, long long pages) {
    const int claimed = document.GetPageCount();
    if (claimed != pages)
        brokenTree("/Count says " + std::to_string(claimed) + " pages, the tree holds " + std::to_string(pages));
}

}  // namespace

int checkedPageCount(PdfMemDocument& document) {
    checkCount(document, walkPageTree(document, nullptr));
    return document.GetPageCount();
}

void forEachPage(PdfMemDocument& document, const std::function<void(PdfPage&)>& visit) {
    walkPageTree(document, [&](PdfObject& object, const std::deque<PdfObject*>& ancestors) {
        PdfPage page(&object, ancestors);
        visit(page);
    });
}

}  // namespace Vesk::Crypto
