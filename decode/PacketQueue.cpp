#include "decode/PacketQueue.h"

void PacketQueue::Push(ffmpeg::PacketPtr packet) {
    std::lock_guard lock(mutex);
    packets.push_back(std::move(packet));
    queued = packets.size();
}
