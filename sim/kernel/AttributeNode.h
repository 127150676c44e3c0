// A sysfs attribute: a small file whose text is made when it is read and acted on when it is written.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "sim/kernel/DeviceNode.h"

namespace sim {

struct AttributeOperations {
    std::function<std::string()> show;           // none: the attribute cannot be read
    std::function<int(std::string_view)> store;  // 0 or an errno; none: it cannot be written
    std::function<bool()> exists;                // none: always
};

class AttributeNode final : public DeviceNode {
public:
    AttributeNode(std::string path, AttributeOperations operations);

    [[nodiscard]] bool exists() const override;
    [[nodiscard]] int allows(bool reading, bool writing) const override;
    [[nodiscard]] Result read(std::size_t position, std::size_t room) override;
    // The position plays no part: each write is a whole text.
    [[nodiscard]] Result write(std::string_view bytes, std::size_t asked) override;

private:
    const AttributeOperations m_operations;
};

}  // namespace sim
