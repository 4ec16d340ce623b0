#include "document/PdfPages.h"

#include "document/PdfNesting.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Vesk::Crypto {
namespace {

using namespace PoDoFo;

const PdfObject* resolve(const PdfMemDocument& document, const PdfObject* object) {
    if (object == nullptr || !object->IsReference()) return object;
    return document.GetObjects().GetObject(object->GetReference());
}

[[noreturn]] void brokenTree(const std::string& why) {
    PODOFO_RAISE_ERROR_INFO(ePdfError_PageNotFound, ("page tree: " + why).c_str());
}

}  // namespace

int checkedPageCount(const PdfMemDocument& document) {
    const PdfPagesTree* tree = document.GetPagesTree();
    if (tree == nullptr || tree->GetObject() == nullptr) brokenTree("no root");

    std::set<const PdfObject*> visited;
    std::vector<std::pair<const PdfObject*, size_t>> pending{{tree->GetObject(), 0}};
    long long pages = 0;
    while (!pending.empty()) {
        const auto [node, depth] = pending.back();
        pending.pop_back();
        if (node == nullptr || !node->IsDictionary()) brokenTree("a node is not a dictionary");
        if (!visited.insert(node).second) brokenTree("a node appears twice");
        if (depth > kMaxPdfNesting) brokenTree("nested too deeply");

        const PdfObject* kids = resolve(document, node->GetDictionary().GetKey("Kids"));
        const PdfObject* type = node->GetDictionary().GetKey(PdfName::KeyType);
        const bool leaf = kids == nullptr || (type != nullptr && type->IsName() && type->GetName() == PdfName("Page"));
        if (leaf) {
            ++pages;
            continue;
        }
        if (!kids->IsArray()) brokenTree("/Kids is not an array");
        const PdfArray& array = kids->GetArray();
        // Pushed in reverse, so the pages are met in document order.
        for (auto kid = array.rbegin(); kid != array.rend(); ++kid)
            pending.emplace_back(resolve(document, &*kid), depth + 1);
    }

    const int claimed = document.GetPageCount();
    if (claimed != pages)
        brokenTree("/Count says " + std::to_string(claimed) + " pages, the tree holds " + std::to_string(pages));
    return claimed;
}

}  // namespace Vesk::Crypto
