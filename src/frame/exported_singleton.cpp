#include "frame/exported_singleton.h"

#include <algorithm>
#include <vector>

namespace optimizer {

namespace {

struct ConstructorTable {
    CCriticalSection lock;
    std::vector<IObjectConstructor*> constructors;  // guarded by lock
};

/// Made at first use, so that declarations in any translation unit may come before it.
ConstructorTable& Table() {
    static ConstructorTable table;
    return table;
}

}  // namespace

void RegisterConstructor(IObjectConstructor* constructor) {
    CriticalSectionGuard guard(Table().lock);
    Table().constructors.push_back(constructor);
}

void UnregisterConstructor(IObjectConstructor* constructor) {
    CriticalSectionGuard guard(Table().lock);
    std::erase(Table().constructors, constructor);
}

bool IsConstructorRegistered(const IObjectConstructor* constructor) {
    CriticalSectionGuard guard(Table().lock);
    const auto& known = Table().constructors;
    return std::find(known.begin(), known.end(), constructor) != known.end();
}

}  // namespace optimizer
