#pragma once

#include <vector>

#include "setup/runtime/runtime_interfaces.h"

// A byte buffer for HTTP bodies.
class CPayload final : public CObjectBase<IPayload> {
public:
    Status Set(const void* data, std::uint32_t size) override {
        const auto* bytes = static_cast<const std::uint8_t*>(data);
        bytes_.assign(bytes, bytes + size);
        return kStatusOk;
    }
    void Clear() override { bytes_.clear(); }
    const std::uint8_t* Data() const override { return bytes_.data(); }
    std::uint32_t Size() const override { return static_cast<std::uint32_t>(bytes_.size()); }

private:
    std::vector<std::uint8_t> bytes_;
};
