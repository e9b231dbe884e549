#pragma once

#include <string>
#include <utility>

#include "border/optimizer_process_provider.h"
#include "frame/vx_list.h"

namespace host {

/// One application of a list that is handed to observers.
class CProcessEntry final : public IOptimizerProcessEntry {
public:
    CProcessEntry(std::wstring name, std::wstring product)
        : m_name(std::move(name)), m_product(std::move(product)) {}

    void Reserved0() override {}
    void Reserved1() override {}
    void Reserved2() override {}
    void Reserved3() override {}
    void Reserved4() override {}
    const wchar_t* GetApplicationName() const override { return m_name.c_str(); }
    void Reserved6() override {}
    const wchar_t* GetProductName() const override { return m_product.c_str(); }

private:
    std::wstring m_name;
    std::wstring m_product;
};

using ProcessEntryList = vx::List<CProcessEntry, IOptimizerProcessEntry>;

}  // namespace host
