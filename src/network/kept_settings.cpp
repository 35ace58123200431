#include "network/kept_settings.h"

#include "platform/device_paths.h"
#include "platform/log.h"
#include "platform/scoped_fd.h"
#include "protocol/commands.h"
#include "protocol/record_fields.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* NAME = "pending";
constexpr const char* NEW_NAME = "pending.new"; // fixed: what a kill leaves behind is used again
/// O_NONBLOCK: a fifo put in a file's place must not hold the caller.
constexpr int OPEN_FLAGS = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

uint32_t crc32(std::span<const std::byte> bytes) {
    uint32_t crc = ~0U;
    for (const std::byte byte : bytes) {
        crc ^= std::to_integer<uint32_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
        }
    }
    return ~crc;
}

uint32_t checksum_of(const KeptSettings& kept) {
    return crc32(qv_record_bytes(kept).first(offsetof(KeptSettings, checksum)));
}

bool keeps_anything(const KeptSettings& kept) {
    return std::ranges::any_of(kept.seconds, [](uint16_t seconds) { return seconds != 0; });
}

bool is_sound(const KeptSettings& kept) {
    return kept.magic == KeptSettings{}.magic && kept.checksum == checksum_of(kept) &&
           std::ranges::all_of(kept.seconds, [](uint16_t seconds) {
               return seconds == 0 || (seconds >= CONFIRM_MIN && seconds <= CONFIRM_MAX);
           });
}

ScopedFd open_folder() {
    return ScopedFd(open(qv_agent_folder(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

/// Made when it is not there, so that it outlasts a power cut.
ScopedFd make_folder() {
    if (mkdir(qv_agent_folder(), S_IRWXU) != 0) {
        return open_folder();
    }
    ScopedFd folder = open_folder();
    const ScopedFd parent(openat(folder.get(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fsync(parent.get()) != 0) {
        folder.reset();
    }
    return folder;
}

/// To be read.
ScopedFd open_file() {
    const ScopedFd folder = open_folder();
    return ScopedFd(folder.valid() ? openat(folder.get(), NAME, O_RDONLY | OPEN_FLAGS) : -1);
}

bool write_whole(int folder, const char* name, std::span<const std::byte> bytes) {
    constexpr int FLAGS = O_WRONLY | O_CREAT | O_TRUNC | OPEN_FLAGS;
    const ScopedFd file(openat(folder, name, FLAGS, S_IRUSR | S_IWUSR));
    errno = file.valid() ? ENOSPC : errno; // what a short write means
    return file.valid() && write(file.get(), bytes.data(), bytes.size()) == std::ssize(bytes) &&
           fsync(file.get()) == 0;
}

bool replace(int folder, std::span<const std::byte> bytes) {
    if (write_whole(folder, NEW_NAME, bytes) && renameat(folder, NEW_NAME, folder, NAME) == 0) {
        return true;
    }
    const int saved = errno;
    unlinkat(folder, NEW_NAME, 0);
    errno = saved;
    return false;
}

bool remove(int folder) {
    return unlinkat(folder, NAME, 0) == 0 || errno == ENOENT;
}

} // namespace

std::span<std::byte> KeptSettings::record_of(NetworkPart part) {
    switch (part) {
    case NetworkPart::lan: return qv_record_bytes(lan);
    case NetworkPart::wan: return qv_record_bytes(wan);
    case NetworkPart::wan6: return qv_record_bytes(wan6);
    }
    return {};
}

KeptSettings qv_load_kept() {
    const ScopedFd file = open_file();
    if (!file.valid() && (errno == ENOENT || errno == ENOTDIR)) {
        return {};
    }
    std::array<std::byte, sizeof(KeptSettings) + 1> bytes{};
    if (read(file.get(), bytes.data(), bytes.size()) == sizeof(KeptSettings)) {
        const auto kept = qv_record_of<KeptSettings>(bytes);
        if (is_sound(kept)) {
            return kept;
        }
    }
    qv_log("QV_ERR: %s/%s is damaged, nothing is taken back\n", qv_agent_folder(), NAME);
    return {};
}

int qv_save_kept(KeptSettings kept) {
    kept.checksum = checksum_of(kept);
    const ScopedFd folder = make_folder();
    const bool saved =
        folder.valid() && (keeps_anything(kept) ? replace(folder.get(), qv_record_bytes(kept))
                                                : remove(folder.get()));
    return saved && fsync(folder.get()) == 0 ? 0 : errno;
}
