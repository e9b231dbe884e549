#include "cloud/token_mask.h"

#include "cloud/cloud_app_query_req.h"
#include "frame/json.h"

namespace optimizer {

namespace {

void ReplaceAll(std::string& text, const std::string& what) {
    constexpr char kMask[] = "***";
    if (what.empty()) return;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + sizeof(kMask) - 1)) {
        text.replace(at, what.size(), kMask);
    }
}

}  // namespace

std::string WithoutToken(std::string text, const std::string& body) {
    picojson::value document;
    std::string error;
    if (!json::Parse(body, document, error)) return text;
    const picojson::value* found = &document;
    for (const char* key : {kKeyParams, kKeySource, kKeyToken}) {
        found = json::Find(*found, key);
        if (found == nullptr) return text;
    }
    const std::string quoted = found->serialize();  // as it stands in the body
    if (quoted.size() > 2) ReplaceAll(text, quoted.substr(1, quoted.size() - 2));
    ReplaceAll(text, json::ToText(found).value_or(""));  // as others may write it
    return text;
}

}  // namespace optimizer
