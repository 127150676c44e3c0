#include "sim/kernel/OpenFiles.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>

namespace sim {
namespace {

struct Ends {
    UniqueFd process;
    UniqueFd ours;
};

Ends makePipe() {
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return {};
    }
    return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

Ends makeSocketPair() {
    std::array<int, 2> ends{-1, -1};
    (void)::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data());
    return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

void makeNonBlocking(int fd) {
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
}

}  // namespace

OpenFiles::~OpenFiles() {
    for (const auto& [id, file] : m_files) {
        m_loop.unwatch(file.peer.get());
    }
}

OpenFiles::Opened OpenFiles::open(DeviceNode& node, std::uint32_t flags, std::size_t eventSize) {
    const std::size_t slot = freeSlot();
    Ends ends = node.kind() == BELTPACK_INPUT ? makePipe() : makeSocketPair();
    struct stat status {};
    if (slot >= BELTPACK_FILE_LIMIT || !ends.ours.valid() || ::fstat(ends.process.get(), &status) < 0) {
        return {ENFILE, {}, 0};
    }
    makeNonBlocking(ends.ours.get());
    if ((flags & O_NONBLOCK) != 0) {
        makeNonBlocking(ends.process.get());
    }
    const FileId id{status.st_dev, status.st_ino};
    m_loop.watch(ends.ours.get(), 0, [this, id](std::uint32_t) { close(id); });
    m_slotTaken.resize(std::max(m_slotTaken.size(), slot + 1));
    m_slotTaken[slot] = true;
    const auto slotNumber = static_cast<std::uint32_t>(slot);
    m_files.emplace(id, OpenFile{&node, std::move(ends.ours), eventSize, slotNumber});
    return {0, std::move(ends.process), slotNumber};
}

OpenFile* OpenFiles::find(FileId id) {
    const auto found = m_files.find(id);
    return found == m_files.end() ? nullptr : &found->second;
}

std::size_t OpenFiles::freeSlot() const {
    const auto found = std::find(m_slotTaken.begin(), m_slotTaken.end(), false);
    return static_cast<std::size_t>(found - m_slotTaken.begin());
}

void OpenFiles::close(FileId id) {
    const auto found = m_files.find(id);
    m_slotTaken[found->second.slot] = false;
    m_loop.unwatch(found->second.peer.get());
    m_files.erase(found);
}

void OpenFiles::abandon(const DeviceNode& node) {
    for (auto file = m_files.begin(); file != m_files.end();) {
        if (file->second.node == &node) {
            m_loop.unwatch(file->second.peer.get());
            file = m_files.erase(file);
        } else {
            ++file;
        }
    }
}

void OpenFiles::forEachOn(const std::function<bool(const DeviceNode&)>& chosen,
                          const std::function<void(OpenFile&)>& act) {
    for (auto& [id, file] : m_files) {
        if (chosen(*file.node)) {
            act(file);
        }
    }
}

}  // namespace sim
