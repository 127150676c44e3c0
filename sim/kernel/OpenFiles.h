// The panel files that processes hold open.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "sim/base/EventLoop.h"
#include "sim/base/UniqueFd.h"
#include "sim/kernel/DeviceNode.h"

namespace sim {

// Device and inode number of the descriptor that the process got: one name for all its copies.
using FileId = std::pair<std::uint64_t, std::uint64_t>;

struct OpenFile {
    DeviceNode* node;
    UniqueFd peer;  // our end: the write end of an input device's pipe, else the other socket of a pair
    std::size_t eventSize;
    std::uint32_t slot;
    std::size_t position = 0;
};

// A file leaves the table when the last copy of its descriptor is closed, in whatever process, which shows at
// our end.
class OpenFiles {
public:
    // The loop is not owned.
    explicit OpenFiles(EventLoop& loop) : m_loop(loop) {}
    ~OpenFiles();
    OpenFiles(const OpenFiles&) = delete;
    OpenFiles& operator=(const OpenFiles&) = delete;

    struct Opened {
        int error = 0;           // errno
        UniqueFd fd;             // for the process
        std::uint32_t slot = 0;  // BELTPACK_OPEN
    };
    // flags: the open flags, of which O_NONBLOCK goes to the new descriptor. ENFILE: no slot is free.
    [[nodiscard]] Opened open(DeviceNode& node, std::uint32_t flags, std::size_t eventSize);

    // nullptr: the file is not, or no longer, open.
    [[nodiscard]] OpenFile* find(FileId id);

    // Forgets every file open on the node; readers of a pipe see its end. Their slots stay taken, since their
    // processes still hold the descriptors.
    void abandon(const DeviceNode& node);

    void forEachOn(const std::function<bool(const DeviceNode&)>& chosen,
                   const std::function<void(OpenFile&)>& act);

private:
    [[nodiscard]] std::size_t freeSlot() const;
    void close(FileId id);

    EventLoop& m_loop;
    std::map<FileId, OpenFile> m_files;
    std::vector<bool> m_slotTaken;
};

}  // namespace sim
