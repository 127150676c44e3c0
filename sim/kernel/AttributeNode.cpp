#include "sim/kernel/AttributeNode.h"

namespace sim {

AttributeNode::AttributeNode(std::string path, AttributeOperations operations)
    : DeviceNode(std::move(path), BELTPACK_ATTRIBUTE), m_operations(std::move(operations)) {}

bool AttributeNode::exists() const {
    return !m_operations.exists || m_operations.exists();
}

int AttributeNode::allows(bool reading, bool writing) const {
    return (reading && !m_operations.show) || (writing && !m_operations.store) ? EACCES : 0;
}

Result AttributeNode::read(std::size_t position, std::size_t room) {
    if (!m_operations.show) {
        return Result::failed(EBADF);
    }
    const std::string text = m_operations.show();
    return Result::gave(position < text.size() ? text.substr(position, room) : std::string());
}

Result AttributeNode::write(std::string_view bytes, std::size_t) {
    if (!m_operations.store) {
        return Result::failed(EBADF);
    }
    const int error = m_operations.store(bytes);
    return error != 0 ? Result::failed(error) : Result::returned(static_cast<std::int64_t>(bytes.size()));
}

}  // namespace sim
