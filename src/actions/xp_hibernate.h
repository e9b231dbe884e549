#pragma once

#include "actions/hibernate.h"

namespace optimizer {

/// Stands in on systems older than Windows Vista, where these settings don't exist.
class CXPHibernate final : public IHibernate {
public:
    bool Init() override { return true; }
    void Uninit() override {}
    bool Get(bool, bool*, uint32_t*) override { return false; }
    bool Set(bool, bool, uint32_t) override { return false; }
    std::string Scheme() override { return {}; }
    void UseScheme(const std::string&) override {}
    bool IsSchemeGone(bool) override { return false; }
};

}  // namespace optimizer
