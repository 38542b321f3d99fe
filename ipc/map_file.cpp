// System V shared memory by name.
#include <vdx/map_file.h>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>

#include <vdx/characters.h>
#include <vdx/platform.h>
#include <vdx/warnings.h>

#include "base/errno_saver.h"

namespace {

bool exists(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0;
}

// Makes an empty file that every user may open. The mode is set on the file itself: the process's mask
// belongs to all threads. Somebody else's file that appears meanwhile serves as well; a link does not.
bool makeKeyFile(const std::string& path) {
    const int nFile = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (nFile == -1) {
        const vdx::ErrnoSaver error;
        return error.value() == EEXIST && exists(path);
    }
    (void)fchmod(nFile, 0666);
    close(nFile);
    return true;
}

std::uint32_t makeKey(const std::string& path, unsigned char nId) {
    const key_t key = ftok(path.c_str(), nId);
    if (key == -1) {
        vdxOutputWarningString("ftok [%s] fail: %s", path.c_str(), vdxTransLastError().c_str());
    }
    return static_cast<std::uint32_t>(key);
}

}  // namespace

const std::string& xFileKey::buildFilePath(const std::string& name) {
    static const char szPrefix[] = "/tmp/vdx_";
    const bool bIsPath = name.find_first_of(getTabPathSeparator()) != std::string::npos;
    m_path = bIsPath ? name : szPrefix + name;
    return m_path;
}

std::uint32_t xFileKey::OpenFileKey(const std::string& name, unsigned char nId, bool bCreate) {
    buildFilePath(name);
    if (!exists(m_path)) {
        if (!bCreate) return NO_KEY;
        if (!makeKeyFile(m_path)) {
            vdxOutputWarningString("Create file[%s] fail: %s", m_path.c_str(), vdxTransLastError().c_str());
            return NO_KEY;
        }
    }
    return makeKey(m_path, nId);
}

void xFileKey::DestroyFileKey() {
    if (!m_path.empty()) unlink(m_path.c_str());
    CloseFileKey();
}

void* chMapFile::OpenMapFile(const std::string& name) {
    CloseMapFile();
    const std::uint32_t nKey = m_key.OpenFileKey(name, nKeyId, false);
    if (nKey == xFileKey::NO_KEY) return nullptr;
    m_idSegment = shmget(static_cast<key_t>(nKey), 0, 0666);
    if (m_idSegment == -1) return nullptr;
    m_pData = shmat(m_idSegment, nullptr, 0);
    return m_pData == reinterpret_cast<void*>(-1) ? nullptr : m_pData;
}

void* chMapFile::OpenMapFile(const std::string& name, int nSize) {
    CloseMapFile();
    const auto key = static_cast<key_t>(m_key.OpenFileKey(name, nKeyId, true));
    const auto nBytes = static_cast<std::size_t>(nSize);
    m_idSegment = shmget(key, nBytes, IPC_CREAT | IPC_EXCL | 0666);
    if (m_idSegment != -1) {
        m_idCreator = static_cast<std::int32_t>(vdxGetCurrentTaskId());
    } else {
        m_idSegment = shmget(key, nBytes, 0666);
    }
    if (m_idSegment == -1) {
        vdxOutputWarningString("Try Create mapfile[%s] fail (%s)! key=%X ", name.c_str(),
                               vdxTransLastError().c_str(), static_cast<unsigned>(key));
        return nullptr;
    }
    m_pData = shmat(m_idSegment, nullptr, 0);
    if (m_pData != reinterpret_cast<void*>(-1)) return m_pData;
    vdxOutputWarningString("shmat [%s] fail (%s)!", name.c_str(), vdxTransLastError().c_str());
    return nullptr;
}

void chMapFile::CloseMapFile() {
    if (m_pData != nullptr) shmdt(m_pData);
    m_pData = nullptr;
    m_idSegment = -1;
    m_idCreator = -1;
    m_key.CloseFileKey();
}

void chMapFile::DestroyMapFile() {
    const std::int32_t idSegment = m_idSegment;
    xFileKey key = m_key;
    CloseMapFile();
    if (idSegment != -1) shmctl(idSegment, IPC_RMID, nullptr);
    key.DestroyFileKey();
}
