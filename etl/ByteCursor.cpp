#include "etl/ByteCursor.h"

#include "etl/LittleEndian.h"

namespace Etl {

bool ByteCursor::Take(size_t count)
{
    if (failed_) {
        return false;
    }
    if (count > Remaining()) {
        failed_ = true;
        failurePosition_ = position_;
        return false;
    }
    return true;
}

template <typename Integer> Integer ByteCursor::Read()
{
    if (!Take(sizeof(Integer))) {
        return 0;
    }
    const Integer value = LoadLittleEndian<Integer>(bytes_, position_);
    position_ += sizeof(Integer);
    return value;
}

uint8_t ByteCursor::U8()
{
    return Read<uint8_t>();
}

uint16_t ByteCursor::U16()
{
    return Read<uint16_t>();
}

uint32_t ByteCursor::U32()
{
    return Read<uint32_t>();
}

uint64_t ByteCursor::U64()
{
    return Read<uint64_t>();
}

Guid ByteCursor::ReadGuid()
{
    if (!Take(16)) {
        return {};
    }
    Guid guid;
    guid.data1 = U32();
    guid.data2 = U16();
    guid.data3 = U16();
    for (auto& byte : guid.data4) {
        byte = U8();
    }
    return guid;
}

std::span<const uint8_t> ByteCursor::Bytes(size_t count)
{
    if (!Take(count)) {
        return {};
    }
    const auto bytes = bytes_.subspan(position_, count);
    position_ += count;
    return bytes;
}

void ByteCursor::Skip(size_t count)
{
    if (Take(count)) {
        position_ += count;
    }
}

std::string_view ByteCursor::Terminated()
{
    if (failed_) {
        return {};
    }
    for (size_t at = position_; at < bytes_.size(); ++at) {
        if (bytes_[at] == 0) {
            const std::string_view text(reinterpret_cast<const char*>(bytes_.data() + position_), at - position_);
            position_ = at + 1;
            return text;
        }
    }
    Take(Remaining() + 1); // fails the cursor where the string began
    return {};
}

void ByteCursor::Seek(size_t position)
{
    if (failed_) {
        return;
    }
    if (position > bytes_.size()) {
        failed_ = true;
        failurePosition_ = position_;
        return;
    }
    position_ = position;
}

ByteCursor ByteCursor::Sub(size_t count)
{
    const size_t start = position_;
    const auto bytes = Bytes(count);
    ByteCursor sub(bytes, origin_ + start);
    if (failed_) {
        sub.failed_ = true;
    }
    return sub;
}

ByteCursor ByteCursor::At(size_t position, size_t count) const
{
    if (position > bytes_.size() || count > bytes_.size() - position) {
        ByteCursor failed({}, origin_ + position);
        failed.failed_ = true;
        return failed;
    }
    return ByteCursor(bytes_.subspan(position, count), origin_ + position);
}

} // namespace Etl
