// A way to look at the panel and to work it: what a web page, a terminal and a recording have in common.
#pragma once

#include <string>

#include "sim/base/EventLoop.h"
#include "sim/panel/Panel.h"
#include "sim/view/Controls.h"
#include "sim/view/Mailbox.h"
#include "sim/view/SnapshotBox.h"
#include "sim/view/StateKeeper.h"

namespace sim {

// What a view works with. All of it outlives the view's stop; all but mailbox and snapshots is for the
// simulator's thread alone.
struct ViewSeam {
    EventLoop& loop;            // to watch descriptors with
    Panel& panel;               // to listen to: see PanelListener for what is told
    const StateKeeper& keeper;  // the state and the lines now
    Controls& controls;         // what a person may do
    Mailbox& mailbox;           // runs functions of other threads here
    SnapshotBox& snapshots;     // the newest state and lines, for other threads
};

// Both calls come on the simulator's thread, which a view must not hold up. Signals that the session handles
// are blocked there already, and so in threads that a view starts.
class View {
public:
    virtual ~View() = default;

    // Whether it shows the daemon's lines; without any such view they are not looked at.
    [[nodiscard]] virtual bool wantsLines() const { return true; }

    // Once, before the program is started. An error text, which ends the simulator, or an empty one; a view
    // that has failed is not stopped.
    [[nodiscard]] virtual std::string start(const ViewSeam& seam) = 0;

    // Once, after the program has ended and the last state has been published; mailbox and snapshots are
    // closed already. Threads and watched descriptors of the view end here.
    virtual void stop() = 0;
};

}  // namespace sim
