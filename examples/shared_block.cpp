// Two processes share a System V map file and wake each other by a socket event.
#include <vdx/map_file.h>
#include <vdx/platform.h>
#include <vdx/pool.h>
#include <vdx/sync.h>
#include <vdx/warnings.h>

#include <sys/wait.h>
#include <unistd.h>
#include <cstring>
#include <new>
#include <string>

namespace {

// What lies at the start of the block; the pool's cells follow. Nothing in it is an address: each process
// maps the block where it likes.
struct Board {
    std::int32_t nPort;  // Where the first process waits.
    std::int32_t nUnused;
    basePoolAlloc pool;
    share_pointer message;
    unsigned char cells[4000];
};

// The second process: finds the block by its name, leaves a message, rings the bell.
int answer(const std::string& name) {
    chMapFile file;
    auto* pBoard = static_cast<Board*>(file.OpenMapFile(name));
    if (pBoard == nullptr) return 1;
    const char szText[] = "written by another process";
    void* pText = pBoard->pool.alloc(sizeof szText);
    if (pText == nullptr) return 1;
    std::memcpy(pText, szText, sizeof szText);
    pBoard->message.setPointer(pText);
    chEvent_Socket bell;
    return bell.OpenEvent() && bell.SendEvent(pBoard->nPort) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2) return answer(argv[1]);

    const std::string name = "shared_block." + std::to_string(vdxGetCurrentProcessId());
    chMapFile file;
    void* pBlock = file.OpenMapFile(name, sizeof(Board));
    if (pBlock == nullptr || !file.IsCreateByMe()) return 1;
    auto* pBoard = new (pBlock) Board;
    pBoard->pool.init_pool(pBoard->cells, sizeof pBoard->cells);
    chEvent_Socket bell;
    if (!bell.OpenEvent()) return 1;
    pBoard->nPort = bell.port();

    const pid_t pid = fork();
    if (pid == 0) {
        execl(argv[0], argv[0], name.c_str(), static_cast<char*>(nullptr));
        _exit(1);
    }
    const bool bRang = bell.WaitEvent(10000);
    int nStatus = -1;
    waitpid(pid, &nStatus, 0);
    const char* szText = static_cast<const char*>(pBoard->message.pointer());
    const bool bGood = bRang && nStatus == 0 && szText != nullptr;
    consolePrintf(false, "%s", bGood ? szText : "no answer");
    file.DestroyMapFile();
    return bGood ? 0 : 1;
}
