#include "der.h"

#include <openssl/asn1.h>

namespace cades_emulator::der {

Bytes element(BYTE tag, const Bytes& content) {
    Bytes out{tag};
    const size_t length = content.size();
    if (length < 0x80) {
        out.push_back(static_cast<BYTE>(length));
    } else {
        Bytes octets;
        for (size_t rest = length; rest != 0; rest >>= 8) octets.insert(octets.begin(), static_cast<BYTE>(rest & 0xFF));
        out.push_back(static_cast<BYTE>(0x80 | octets.size()));
        out.insert(out.end(), octets.begin(), octets.end());
    }
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

Bytes sequence(std::initializer_list<Bytes> parts) {
    Bytes content;
    for (const Bytes& part : parts) content.insert(content.end(), part.begin(), part.end());
    return element(kSequence, content);
}

Bytes sequenceOf(const std::vector<Bytes>& items) {
    Bytes content;
    for (const Bytes& item : items) content.insert(content.end(), item.begin(), item.end());
    return element(kSequence, content);
}

Bytes explicitTag(unsigned number, const Bytes& content) { return element(static_cast<BYTE>(0xA0 | number), content); }

bool split(const BYTE* encoded, size_t size, BYTE* tag, Bytes* content, size_t* total) {
    if (size == 0) return false;
    const unsigned char* cursor = encoded;
    long length = 0;
    int asn1Tag = 0;
    int asn1Class = 0;
    const int flags = ASN1_get_object(&cursor, &length, &asn1Tag, &asn1Class, static_cast<long>(size));
    if ((flags & 0x80) != 0 || flags == 0x21)  // an error, or an indefinite length
        return false;
    const size_t header = static_cast<size_t>(cursor - encoded);
    if (header + static_cast<size_t>(length) > size) return false;
    *tag = encoded[0];
    if (content != nullptr) content->assign(cursor, cursor + length);
    *total = header + static_cast<size_t>(length);
    return true;
}

bool children(const Bytes& content, std::vector<Bytes>* elements) {
    size_t offset = 0;
    while (offset < content.size()) {
        BYTE tag = 0;
        size_t total = 0;
        if (!split(content.data() + offset, content.size() - offset, &tag, nullptr, &total)) return false;
        elements->emplace_back(content.begin() + static_cast<long>(offset),
                               content.begin() + static_cast<long>(offset + total));
        offset += total;
    }
    return true;
}

}  // namespace cades_emulator::der
