#include "actions/block_win_notifications_action.h"

#include "actions/block_win_notifications_dummy.h"
#include "actions/block_win_notifications_win8_action.h"
#include "frame/version.h"

namespace optimizer {

CBlockWinNotificationsAction::CBlockWinNotificationsAction(const BlockWinNotificationsParams& parameters,
                                                           IServMain* main) {
    if (IsWindows6OrLater(kWindows8Minor)) {
        m_inner = new CBlockWinNotificationsWin8Action(m_name.c_str(), parameters, main);
    } else {
        m_inner = new CBlockWinNotificationsDummy(m_name.c_str());
    }
}

}  // namespace optimizer
