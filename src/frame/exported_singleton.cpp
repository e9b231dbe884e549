#include "frame/exported_singleton.h"

#include <algorithm>
#include <vector>

namespace optimizer {

namespace {

struct ConstructorTable {
    CCriticalSection lock;
    std::vector<IObjectConstructor*> constructors GUARDED_BY(lock);
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
    ConstructorTable& table = Table();
    CriticalSectionGuard guard(table.lock);
    return std::find(table.constructors.begin(), table.constructors.end(), constructor) !=
           table.constructors.end();
}

}  // namespace optimizer
