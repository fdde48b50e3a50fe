// Stands in for the system's tar.exe, which Wine lacks: "-x -f ARCHIVE" on a zip archive,
// unpacked into the current folder. It behaves as bsdtar does there: entries are read in
// order from their local headers; leading slashes and drive letters are stripped; entries with
// a ".." element are skipped; a bad CRC fails only its entry; broken or truncated data stops
// the run at once, leaving the files written so far. Any failure gives exit code 1.
#include <windows.h>
#include <zlib.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

constexpr uint32_t LocalHeaderSignature = 0x04034b50;
constexpr uint32_t CentralHeaderSignature = 0x02014b50;
constexpr uint32_t EndOfCentralDirectorySignature = 0x06054b50;
constexpr uint32_t DataDescriptorSignature = 0x08074b50;
constexpr uint16_t FlagEncrypted = 1;
constexpr uint16_t FlagDataDescriptor = 8;

struct Archive {
    std::vector<unsigned char> bytes;
    size_t position = 0;

    bool Has(size_t count) const { return bytes.size() - position >= count; }
    // Little-endian number at the read position; the caller has checked Has(width).
    uint32_t At(int width) const {
        uint32_t value = 0;
        for (int i = 0; i < width; ++i) value |= uint32_t{bytes[position + i]} << (8 * i);
        return value;
    }
    uint32_t Read(int width) {
        const uint32_t value = At(width);
        position += width;
        return value;
    }
    uint32_t Peek32() const { return Has(4) ? At(4) : 0; }
};

enum class EntryResult { Ok, Failed, Fatal };

void Complain(const std::string& name, const std::string& message) {
    std::fprintf(stderr, "%s: %s\n", name.c_str(), message.c_str());
}

// Removes what would make the name absolute; true when something was removed.
bool StripAbsolutePrefix(std::string& name) {
    size_t start = 0;
    if (name.size() >= 2 && name[1] == ':' && std::isalpha(static_cast<unsigned char>(name[0]))) start = 2;
    while (start < name.size() && (name[start] == '/' || name[start] == '\\')) ++start;
    name.erase(0, start);
    return start > 0;
}

bool HasParentElement(const std::string& name) {
    size_t start = 0;
    while (start <= name.size()) {
        size_t end = name.find_first_of("/\\", start);
        if (end == std::string::npos) end = name.size();
        if (name.compare(start, end - start, "..") == 0) return true;
        start = end + 1;
    }
    return false;
}

void CreateParentFolders(const std::string& path) {
    for (size_t end = path.find_first_of("/\\"); end != std::string::npos;
         end = path.find_first_of("/\\", end + 1)) {
        if (end > 0) CreateDirectoryA(path.substr(0, end).c_str(), nullptr);
    }
}

// Copies or inflates the entry's data into out (when given), keeping its CRC. Fatal when the
// data is broken or ends early, as then the next entry cannot be found.
EntryResult Unpack(Archive& archive, uint16_t method, bool sizeKnown, uint32_t packedSize,
                   std::ofstream* out, uint32_t& crc, const std::string& name) {
    crc = crc32(0, nullptr, 0);
    auto emit = [&](const unsigned char* data, size_t size) {
        crc = crc32(crc, data, static_cast<uInt>(size));
        if (out) out->write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    };
    if (method == 0) {
        if (!sizeKnown) {
            Complain(name, "Stored entry of unknown size is unsupported");
            return EntryResult::Fatal;
        }
        const bool complete = archive.Has(packedSize);
        const size_t available = complete ? packedSize : archive.bytes.size() - archive.position;
        emit(archive.bytes.data() + archive.position, available);
        archive.position += available;
        if (complete) return EntryResult::Ok;
        Complain(name, "Truncated ZIP file data");
        return EntryResult::Fatal;
    }
    if (method != 8) {
        Complain(name, "Unsupported ZIP compression method (" + std::to_string(method) + ")");
        return EntryResult::Fatal;
    }
    z_stream stream{};
    inflateInit2(&stream, -MAX_WBITS);
    size_t limit = archive.bytes.size() - archive.position;
    if (sizeKnown && packedSize < limit) limit = packedSize;
    stream.next_in = archive.bytes.data() + archive.position;
    stream.avail_in = static_cast<uInt>(limit);
    int status = Z_OK;
    unsigned char buffer[65536];
    while (status == Z_OK) {
        stream.next_out = buffer;
        stream.avail_out = sizeof buffer;
        status = inflate(&stream, Z_NO_FLUSH);
        emit(buffer, sizeof buffer - stream.avail_out);
        if (status == Z_BUF_ERROR && stream.avail_out > 0) break;  // input ran out
        if (status == Z_BUF_ERROR) status = Z_OK;
    }
    // With the size known, the next entry starts behind the packed data, however much of it
    // the deflate stream used.
    archive.position += sizeKnown ? limit : limit - stream.avail_in;
    inflateEnd(&stream);
    if (status == Z_STREAM_END) return EntryResult::Ok;
    Complain(name, "ZIP decompression failed (" + std::to_string(status) + ")");
    return EntryResult::Fatal;
}

EntryResult ExtractEntry(Archive& archive, bool& warnedAbsolute) {
    if (!archive.Has(30)) {
        std::fprintf(stderr, "tar.exe: Truncated ZIP file header\n");
        return EntryResult::Fatal;
    }
    archive.Read(4);
    archive.Read(2);  // version needed
    const auto flags = static_cast<uint16_t>(archive.Read(2));
    const auto method = static_cast<uint16_t>(archive.Read(2));
    archive.Read(4);  // time and date
    uint32_t expectedCrc = archive.Read(4);
    const uint32_t packedSize = archive.Read(4);
    archive.Read(4);  // unpacked size
    const uint32_t nameLength = archive.Read(2);
    const uint32_t extraLength = archive.Read(2);
    if (!archive.Has(nameLength + extraLength)) {
        std::fprintf(stderr, "tar.exe: Truncated ZIP file header\n");
        return EntryResult::Fatal;
    }
    const auto* nameStart = reinterpret_cast<const char*>(archive.bytes.data() + archive.position);
    const std::string originalName(nameStart, nameLength);
    archive.position += nameLength + extraLength;

    std::string name = originalName;
    if (StripAbsolutePrefix(name) && !warnedAbsolute) {
        std::fprintf(stderr, "tar.exe: Removing leading '/' from member names\n");
        warnedAbsolute = true;
    }
    bool refused = false;
    if (HasParentElement(name)) {
        Complain(originalName, "Path contains '..'");
        refused = true;
    } else if (flags & FlagEncrypted) {
        Complain(originalName, "Encrypted file is unsupported");
        refused = true;
    }
    const bool isFolder = !name.empty() && (name.back() == '/' || name.back() == '\\');

    std::ofstream out;
    if (!refused && !name.empty()) {
        CreateParentFolders(name);
        if (!isFolder) {
            out.open(name, std::ios::binary | std::ios::trunc);
            if (!out) {
                Complain(originalName, "Can't create '" + name + "'");
                refused = true;
            }
        }
    }
    const bool sizeKnown = !(flags & FlagDataDescriptor);
    uint32_t crc = 0;
    const EntryResult unpacked =
        Unpack(archive, method, sizeKnown, packedSize, out.is_open() ? &out : nullptr, crc, originalName);
    if (unpacked != EntryResult::Ok) return unpacked;
    if (!sizeKnown) {
        if (archive.Peek32() == DataDescriptorSignature) archive.Read(4);
        if (!archive.Has(12)) {
            Complain(originalName, "Truncated ZIP file data");
            return EntryResult::Fatal;
        }
        expectedCrc = archive.Read(4);
        archive.Read(8);  // sizes
    }
    if (refused) return EntryResult::Failed;
    if (out.is_open() && !out.flush()) {
        Complain(originalName, "Write failed");
        return EntryResult::Failed;
    }
    if (crc != expectedCrc) {
        char message[64];
        std::snprintf(message, sizeof message, "ZIP bad CRC: 0x%lx should be 0x%lx",
                      static_cast<unsigned long>(crc), static_cast<unsigned long>(expectedCrc));
        Complain(originalName, message);
        return EntryResult::Failed;
    }
    return EntryResult::Ok;
}

}  // namespace

int main(int argc, char** argv) {
    bool extract = false;
    std::string archivePath;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "-x") {
            extract = true;
        } else if (argument == "-f" && i + 1 < argc) {
            archivePath = argv[++i];
        } else {
            std::fprintf(stderr, "tar.exe: this tar only knows -x -f ARCHIVE\n");
            return 1;
        }
    }
    if (!extract || archivePath.empty()) {
        std::fprintf(stderr, "tar.exe: Must specify -x and -f ARCHIVE\n");
        return 1;
    }

    Archive archive;
    std::ifstream file(archivePath, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "tar.exe: Error opening archive: Failed to open '%s'\n", archivePath.c_str());
        return 1;
    }
    archive.bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    const uint32_t first = archive.Peek32();
    if (first != LocalHeaderSignature && first != EndOfCentralDirectorySignature) {
        std::fprintf(stderr, "tar.exe: Error opening archive: Unrecognized archive format\n");
        return 1;
    }

    bool failed = false;
    bool warnedAbsolute = false;
    while (archive.Peek32() == LocalHeaderSignature) {
        const EntryResult result = ExtractEntry(archive, warnedAbsolute);
        if (result == EntryResult::Fatal) return 1;
        failed |= result == EntryResult::Failed;
    }
    const uint32_t next = archive.Peek32();
    if (next != CentralHeaderSignature && next != EndOfCentralDirectorySignature) {
        std::fprintf(stderr, "tar.exe: Damaged ZIP archive: no central directory\n");
        return 1;
    }
    if (failed) std::fprintf(stderr, "tar.exe: Error exit delayed from previous errors.\n");
    return failed ? 1 : 0;
}
