#include "connector/rare_lines.h"

#include "frame/lock_guard.h"

namespace host {

namespace {

constexpr uint64_t kPauseMs = 60000;
constexpr size_t kMostKept = 256;  // more than places; sessions come and go while the service runs

}  // namespace

bool CRareLines::MayWrite(const ClientOrigin& origin, uint64_t nowMs, uint32_t& leftOut) {
    const optimizer::LockGuard guard(m_lock);
    leftOut = 0;
    const auto isOld = [&](const Last& last) { return nowMs - last.writtenMs >= kPauseMs; };
    if (m_last.size() >= kMostKept)
        std::erase_if(m_last, [&](const auto& entry) { return isOld(entry.second); });
    const auto [entry, isNew] = m_last.try_emplace({origin.account, origin.session}, Last{nowMs, 0});
    if (isNew) return true;
    if (!isOld(entry->second)) {
        ++entry->second.leftOut;
        return false;
    }
    leftOut = entry->second.leftOut;
    entry->second = {nowMs, 0};
    return true;
}

}  // namespace host
