#include "document/PdfRevisionChanges.h"

#include <functional>
#include <string>
#include <string_view>

namespace Vesk::Crypto {
namespace {

using namespace PoDoFo;

std::string textOf(const PdfObject& object) {
    std::string text;
    object.ToString(text, ePdfWriteMode_Compact);
    return text;
}

std::string rawStream(const PdfObject& object) {
    if (!object.HasStream()) return {};
    char* data = nullptr;
    pdf_long length = 0;
    const_cast<PdfObject&>(object).GetStream()->GetCopy(&data, &length);
    std::string bytes(data != nullptr ? data : "", data != nullptr ? static_cast<size_t>(length) : 0);
    podofo_free(data);
    return bytes;
}

bool sameValue(const PdfObject* a, const PdfObject* b) {
    if (a == nullptr || b == nullptr) return a == b;
    return textOf(*a) == textOf(*b);
}

bool hasName(const PdfObject& object, const char* key, const char* name) {
    if (!object.IsDictionary()) return false;
    const PdfObject* value = object.GetDictionary().GetKey(key);
    return value != nullptr && value->IsName() && value->GetName() == PdfName(name);
}

// Keys whose values differ between two dictionaries (present in one only, or written differently).
std::set<std::string> changedKeys(const PdfDictionary& before, const PdfDictionary& after) {
    std::set<std::string> changed;
    for (const auto& [key, value] : before.GetKeys())
        if (!sameValue(value, after.GetKey(key))) changed.insert(key.GetName());
    for (const auto& [key, value] : after.GetKeys())
        if (!before.HasKey(key)) changed.insert(key.GetName());
    return changed;
}

bool within(const std::set<std::string>& keys, std::initializer_list<std::string_view> allowed) {
    for (const auto& key : keys)
        if (std::find(allowed.begin(), allowed.end(), key) == allowed.end()) return false;
    return true;
}

// One revision against the one before it.
class RevisionJudge {
public:
    RevisionJudge(PdfRevisions& revisions, size_t index, bool addsSignature)
        : revisions_(revisions),
          index_(index),
          addsSignature_(addsSignature),
          encrypted_(revisions.revisions()[index].encrypted) {}

    std::set<DocumentChange> judge();

    PdfObject* before(pdf_objnum number) { return revisions_.object(number, index_ - 1); }
    PdfObject* after(pdf_objnum number) { return revisions_.object(number, index_); }
    bool isNew(pdf_objnum number) const { return revisions_.place(number, index_ - 1) == nullptr; }

    const PdfObject* resolvedBefore(const PdfObject* value) {
        return value != nullptr && value->IsReference() ? before(value->GetReference().ObjectNumber()) : value;
    }
    const PdfObject* resolvedAfter(const PdfObject* value) {
        return value != nullptr && value->IsReference() ? after(value->GetReference().ObjectNumber()) : value;
    }
    PdfObject* newObject(const PdfObject& value) {
        if (!value.IsReference() || !isNew(value.GetReference().ObjectNumber())) return nullptr;
        return after(value.GetReference().ObjectNumber());
    }

    // A reference to a field made in this revision whose type (its own or its parent's) is /Sig.
    bool isNewSignatureField(const PdfObject& value) {
        const PdfObject* field = newObject(value);
        if (field == nullptr || !field->IsDictionary()) return false;
        if (hasName(*field, "FT", "Sig")) return true;
        const PdfObject* parent = resolvedAfter(field->GetDictionary().GetKey("Parent"));
        return parent != nullptr && hasName(*parent, "FT", "Sig");
    }

    // The array is the earlier one with new signature fields (or their widgets) after it.
    bool growsBySignatures(const PdfObject* before, const PdfObject* after) {
        if (after == nullptr || !after->IsArray()) return false;
        const PdfArray empty;
        const PdfArray& old = before != nullptr && before->IsArray() ? before->GetArray() : empty;
        const PdfArray& now = after->GetArray();
        if (now.size() <= old.size()) return false;
        for (size_t i = 0; i < old.size(); ++i)
            if (!sameValue(&old[i], &now[i])) return false;
        for (size_t i = old.size(); i < now.size(); ++i)
            if (!isNewSignatureField(now[i])) return false;
        return true;
    }

    // The entry is unchanged, or it is an array given inline or in a new object that grows by
    // new signature fields.
    bool listGrowsBySignatures(const PdfObject* before, const PdfObject* after) {
        if (sameValue(before, after)) return true;
        if (after != nullptr && after->IsReference() && newObject(*after) == nullptr) return false;
        return growsBySignatures(resolvedBefore(before), resolvedAfter(after));
    }

    // The form's dictionary gained signature fields, SigFlags, and the defaults made with it.
    bool formGrows(const PdfDictionary& before, const PdfDictionary& after) {
        const auto changed = changedKeys(before, after);
        if (!within(changed, {"Fields", "SigFlags", "DA", "DR", "NeedAppearances"})) return false;
        if (changed.count("DA") && before.HasKey("DA")) return false;
        if (changed.count("DR") && before.HasKey("DR") && !resourcesGrow(before.GetKey("DR"), after.GetKey("DR")))
            return false;
        if (const PdfObject* need = after.GetKey("NeedAppearances");
            changed.count("NeedAppearances") && need && !(need->IsBool() && !need->GetBool()))
            return false;
        return !changed.count("Fields") || listGrowsBySignatures(before.GetKey("Fields"), after.GetKey("Fields"));
    }

    bool catalogGainsForm(const PdfObject& before, const PdfObject& after) {
        if (!hasName(before, "Type", "Catalog")) return false;
        const auto changed = changedKeys(before.GetDictionary(), after.GetDictionary());
        if (!within(changed, {"AcroForm"})) return false;
        if (changed.empty()) return true;
        const PdfObject* old = before.GetDictionary().GetKey("AcroForm");
        const PdfObject* now = after.GetDictionary().GetKey("AcroForm");
        if (now != nullptr && now->IsReference()) {
            const PdfObject* form = newObject(*now);
            return old == nullptr && form != nullptr && form->IsDictionary() &&
                   formGrows(PdfDictionary(), form->GetDictionary());
        }
        if (now == nullptr || !now->IsDictionary()) return false;
        const PdfObject* oldForm = resolvedBefore(old);
        return formGrows(oldForm != nullptr && oldForm->IsDictionary() ? oldForm->GetDictionary() : PdfDictionary(),
                         now->GetDictionary());
    }

    bool formObjectGrows(const PdfObject& before, const PdfObject& after) {
        if (!before.IsDictionary() || !before.GetDictionary().HasKey("Fields")) return false;
        return formGrows(before.GetDictionary(), after.GetDictionary());
    }

    bool arrayGrows(const PdfObject& before, const PdfObject& after) {
        return before.IsArray() && growsBySignatures(&before, &after);
    }

    // A stream made in this revision holding exactly `operators` (in an encrypted file, where the
    // bytes cannot be read here, a short new stream).
    bool isNewStream(const PdfObject& value, std::string_view operators) {
        const PdfObject* stream = newObject(value);
        if (stream == nullptr || !stream->HasStream()) return false;
        if (operators.empty()) return true;
        const std::string raw = rawStream(*stream);
        if (encrypted_) return raw.size() <= operators.size() + 32;
        return !stream->GetDictionary().HasKey("Filter") && raw == operators;
    }

    // This module's stamp: the page's earlier contents between a new "q" and "Q" stream, then
    // the new stamp stream.
    bool isStampedContents(const PdfObject* before, const PdfObject* after) {
        if (!addsSignature_ || after == nullptr || !after->IsArray()) return false;
        PdfArray own;
        if (const PdfObject* old = resolvedBefore(before); old != nullptr && old->IsArray())
            own = old->GetArray();
        else if (before != nullptr && before->IsReference())
            own.push_back(*before);
        const PdfArray& now = after->GetArray();
        if (own.empty()) return now.size() == 1 && isNewStream(now[0], {});
        if (now.size() != own.size() + 3) return false;
        for (size_t i = 0; i < own.size(); ++i)
            if (!sameValue(&own[i], &now[i + 1])) return false;
        return isNewStream(now[0], "q\n") && isNewStream(now[own.size() + 1], "\nQ\n") &&
               isNewStream(now[own.size() + 2], {});
    }

    // Resources that only gained entries for new objects (the stamp's fonts and images).
    bool resourcesGrow(const PdfObject* before, const PdfObject* after) {
        if (sameValue(before, after)) {
            if (after != nullptr && after->IsReference()) allowGrowth(after->GetReference().ObjectNumber());
            return true;
        }
        if (before == nullptr) return after != nullptr && addsOnlyNew(*after);
        if (!before->IsDictionary() || after == nullptr || !after->IsDictionary()) return false;
        for (const auto& [key, value] : before->GetDictionary().GetKeys())
            if (!resourcesGrow(value, after->GetDictionary().GetKey(key))) return false;
        for (const auto& [key, value] : after->GetDictionary().GetKeys())
            if (!before->GetDictionary().HasKey(key) && !addsOnlyNew(*value)) return false;
        return true;
    }

    bool addsOnlyNew(const PdfObject& value) {
        if (value.IsReference()) return newObject(value) != nullptr;
        if (value.IsName()) return true;
        if (value.IsArray()) {
            for (const auto& item : value.GetArray())
                if (!item.IsName()) return false;
            return true;
        }
        if (!value.IsDictionary()) return false;
        for (const auto& [key, item] : value.GetDictionary().GetKeys())
            if (!addsOnlyNew(*item)) return false;
        return true;
    }

    void allowGrowth(pdf_objnum number) { growable_.insert(number); }

    bool pageGainsSignature(const PdfObject& before, const PdfObject& after) {
        if (!hasName(before, "Type", "Page")) return false;
        const PdfDictionary& old = before.GetDictionary();
        const PdfDictionary& now = after.GetDictionary();
        const auto changed = changedKeys(old, now);
        if (!within(changed, {"Annots", "Contents", "Resources"})) return false;
        if (changed.count("Annots") && !listGrowsBySignatures(old.GetKey("Annots"), now.GetKey("Annots"))) return false;
        const bool stamped = changed.count("Contents") > 0;
        if (stamped && !isStampedContents(old.GetKey("Contents"), now.GetKey("Contents"))) return false;
        if (!stamped) return !changed.count("Resources");
        return resourcesGrow(old.GetKey("Resources"), now.GetKey("Resources"));
    }

    // Writing a revision dates the document information: its modification date and producer.
    bool infoDated(pdf_objnum number, const PdfObject& before, const PdfObject& after) {
        const auto& info = revisions_.revisions()[index_].info;
        return info && info->ObjectNumber() == number && before.IsDictionary() &&
               within(changedKeys(before.GetDictionary(), after.GetDictionary()), {"ModDate", "Producer"});
    }

    bool growableResources(pdf_objnum number, const PdfObject& before, const PdfObject& after) {
        return growable_.count(number) > 0 && resourcesGrow(&before, &after);
    }

private:
    PdfRevisions& revisions_;
    size_t index_;
    bool addsSignature_;
    bool encrypted_;
    std::set<pdf_objnum> growable_;
};

// A signature's own changes to an object that was already there; extend here when signing
// learns to touch more.
struct OwnChangeRule {
    const char* what;
    std::function<bool(RevisionJudge&, pdf_objnum, const PdfObject&, const PdfObject&)> accepts;
};

const OwnChangeRule kPageRules[] = {
    {"a page gains a signature widget, or this module's stamp",
     [](RevisionJudge& judge, pdf_objnum, const PdfObject& b, const PdfObject& a) {
         return judge.pageGainsSignature(b, a);
     }},
};

const OwnChangeRule kOtherRules[] = {
    {"the catalog gains the form", [](RevisionJudge& judge, pdf_objnum, const PdfObject& b,
                                      const PdfObject& a) { return judge.catalogGainsForm(b, a); }},
    {"the form gains signature fields", [](RevisionJudge& judge, pdf_objnum, const PdfObject& b,
                                           const PdfObject& a) { return judge.formObjectGrows(b, a); }},
    {"an array of fields or annotations gains signature fields",
     [](RevisionJudge& judge, pdf_objnum, const PdfObject& b, const PdfObject& a) { return judge.arrayGrows(b, a); }},
    {"the document information's modification date", [](RevisionJudge& judge, pdf_objnum number, const PdfObject& b,
                                                        const PdfObject& a) { return judge.infoDated(number, b, a); }},
    {"the stamped page's resources gain the stamp's",
     [](RevisionJudge& judge, pdf_objnum number, const PdfObject& b, const PdfObject& a) {
         return judge.growableResources(number, b, a);
     }},
};

DocumentChange kindOf(const PdfObject& object) {
    if (hasName(object, "Type", "Page") || hasName(object, "Type", "Pages")) return DocumentChange::Pages;
    if (hasName(object, "Type", "Catalog")) return DocumentChange::Catalog;
    if (object.IsDictionary() && (object.GetDictionary().HasKey("FT") || object.GetDictionary().HasKey("Fields") ||
                                  hasName(object, "Type", "Annot") || object.GetDictionary().HasKey("Subtype") ||
                                  object.GetDictionary().HasKey("Parent")))
        return DocumentChange::Form;
    return DocumentChange::Other;
}

std::set<DocumentChange> RevisionJudge::judge() {
    std::set<DocumentChange> changes;
    const PdfRevision& revision = revisions_.revisions()[index_];
    if (revision.root != revisions_.revisions()[index_ - 1].root) changes.insert(DocumentChange::Catalog);

    std::vector<std::pair<pdf_objnum, std::pair<PdfObject*, PdfObject*>>> others;
    for (const auto& entry : revision.objects) {
        const pdf_objnum number = entry.first;
        if (isNew(number)) continue;  // only matters where something old or the trailer points at it
        PdfObject* old = before(number);
        PdfObject* now = after(number);
        if (old == nullptr || now == nullptr) {
            changes.insert(DocumentChange::Other);
            continue;
        }
        if (sameValue(old, now) && rawStream(*old) == rawStream(*now)) continue;
        if (old->HasStream() || now->HasStream() || old->GetDataType() != now->GetDataType()) {
            changes.insert(old->HasStream() ? DocumentChange::Pages : kindOf(*old));
            continue;
        }
        if (!hasName(*old, "Type", "Page")) {
            others.push_back({number, {old, now}});  // after the pages, which may let resources grow
            continue;
        }
        if (std::none_of(std::begin(kPageRules), std::end(kPageRules),
                         [&](const OwnChangeRule& rule) { return rule.accepts(*this, number, *old, *now); }))
            changes.insert(DocumentChange::Pages);
    }
    for (const auto& other : others) {
        const PdfObject* old = other.second.first;
        const PdfObject* now = other.second.second;
        if (std::none_of(std::begin(kOtherRules), std::end(kOtherRules),
                         [&](const OwnChangeRule& rule) { return rule.accepts(*this, other.first, *old, *now); }))
            changes.insert(kindOf(*old));
    }
    return changes;
}

}  // namespace

std::set<DocumentChange> documentChanges(PdfRevisions& revisions, size_t index, bool addsSignature) {
    if (index == 0 || index >= revisions.revisions().size()) return {};
    try {
        return RevisionJudge(revisions, index, addsSignature).judge();
    } catch (const PdfError&) {
        return {DocumentChange::Other};
    }
}

}  // namespace Vesk::Crypto
