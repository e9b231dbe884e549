#include "optimizerprocessdp/application_lists.h"

#include <algorithm>
#include <utility>

#include <windows.h>

#include "frame/json.h"
#include "frame/text.h"

namespace host {

namespace json = optimizer::json;

namespace {

bool IsSameText(const std::wstring& left, const std::wstring& right) {
    return CompareStringOrdinal(left.c_str(), static_cast<int>(left.size()), right.c_str(),
                                static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

std::string KeyOf(optimizer::profiles::profile which) {
    return optimizer::Narrow(optimizer::profiles::kNames[static_cast<size_t>(which)]);
}

auto FindIn(const Applications& applications, const Application& wanted) {
    return std::find_if(applications.begin(), applications.end(),
                        [&](const Application& one) { return one.IsSameAs(wanted); });
}

bool ReadList(const picojson::value& array, Applications& out) {
    if (!array.is<picojson::array>()) return false;
    for (const picojson::value& element : array.get<picojson::array>()) {
        const auto name = json::ToText(json::Find(element, "name"));
        const picojson::value* const product = json::Find(element, "product");
        if (!name || (product != nullptr && !product->is<std::string>())) return false;
        Application application;
        application.name = optimizer::Widen(*name);
        application.product = optimizer::Widen(json::ToText(product).value_or(""));
        if (!IsImageName(application.name)) return false;
        AddApplication(out, application);
    }
    return true;
}

}  // namespace

bool Application::IsSameAs(const Application& other) const {
    return IsSameText(name, other.name) && IsSameText(product, other.product);
}

bool Application::Covers(const std::wstring& processName, const std::wstring& processProduct) const {
    return IsSameText(name, processName) && (product.empty() || IsSameText(product, processProduct));
}

Applications* ApplicationLists::Of(profile which) {
    const auto* const found = std::find(kListedProfiles.begin(), kListedProfiles.end(), which);
    return found != kListedProfiles.end() ? &m_lists[static_cast<size_t>(found - kListedProfiles.begin())]
                                          : nullptr;
}

const Applications* ApplicationLists::Of(profile which) const {
    return const_cast<ApplicationLists*>(this)->Of(which);
}

std::optional<ApplicationLists> ApplicationLists::FromJson(const picojson::value& document,
                                                           std::wstring& problem) {
    if (!document.is<picojson::object>()) {
        problem = L"is not a JSON object";
        return std::nullopt;
    }
    ApplicationLists lists;
    for (const auto& [key, array] : document.get<picojson::object>()) {
        const std::string& profileKey = key;
        const auto* const which = std::find_if(kListedProfiles.begin(), kListedProfiles.end(),
                                               [&](profile one) { return KeyOf(one) == profileKey; });
        if (which == kListedProfiles.end()) {
            problem =
                L"has a list for \"" + optimizer::Widen(key) + L"\"; only Work, Game and Movie have one";
            return std::nullopt;
        }
        if (!ReadList(array, *lists.Of(*which))) {
            problem = L"has a list for \"" + optimizer::Widen(key) +
                      L"\" that isn't an array of objects with a \"name\", which isn't a path, and perhaps a "
                      L"\"product\"";
            return std::nullopt;
        }
    }
    return lists;
}

picojson::value ApplicationLists::ToJson() const {
    picojson::object document;
    for (const profile which : kListedProfiles) {
        picojson::array array;
        for (const Application& application : *Of(which)) {
            picojson::object object;
            object["name"] = picojson::value(optimizer::Narrow(application.name));
            if (!application.product.empty())
                object["product"] = picojson::value(optimizer::Narrow(application.product));
            array.emplace_back(std::move(object));
        }
        document[KeyOf(which)] = picojson::value(std::move(array));
    }
    return picojson::value(std::move(document));
}

bool Includes(const Applications& applications, const std::wstring& name, const std::wstring& product) {
    return std::any_of(applications.begin(), applications.end(),
                       [&](const Application& one) { return one.Covers(name, product); });
}

bool IsImageName(const std::wstring& name) {
    return !name.empty() && name.find_first_of(L"\\/:") == std::wstring::npos;
}

bool AddApplication(Applications& applications, const Application& added) {
    if (FindIn(applications, added) != applications.end()) return false;
    applications.push_back(added);
    return true;
}

bool RemoveApplication(Applications& applications, const Application& removed) {
    const auto found = FindIn(applications, removed);
    if (found == applications.end()) return false;
    applications.erase(found);
    return true;
}

Applications EntriesMissingIn(const Applications& to, const Applications& from) {
    Applications missing;
    std::copy_if(from.begin(), from.end(), std::back_inserter(missing),
                 [&](const Application& one) { return FindIn(to, one) == to.end(); });
    return missing;
}

}  // namespace host
