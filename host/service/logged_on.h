#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace host {

/// The sessions of this machine, in some of which nobody is logged on.
std::set<uint32_t> Sessions();

/// Who is logged on, "DOMAIN\\name", by session.
std::map<uint32_t, std::wstring> LoggedOn();

/// The sessions in which somebody is logged on after who wasn't before.
std::vector<uint32_t> NewLogons(const std::map<uint32_t, std::wstring>& before,
                                const std::map<uint32_t, std::wstring>& after);

}  // namespace host
