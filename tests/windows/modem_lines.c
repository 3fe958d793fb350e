/* Preloaded into Wine: answers the requests for modem lines that a pseudo-terminal refuses, with no
   line set, so that a wait for a character blocks as it does on a real port. Built without any
   library: gcc -m32 -shared -nostdlib. */

#define TIOCMGET 0x5415
#define TIOCMBIS 0x5416
#define TIOCMBIC 0x5417
#define TIOCMSET 0x5418
#define TIOCGICOUNT 0x545D
#define COUNTER_WORDS 20

extern int* __errno_location(void);

int ioctl(int descriptor, unsigned long request, void* argument)
{
    int result;
    int i;
    if (request == TIOCMGET || request == TIOCGICOUNT) {
        for (i = 0; i < (request == TIOCMGET ? 1 : COUNTER_WORDS); ++i)
            ((int*)argument)[i] = 0;
        return 0;
    }
    if (request == TIOCMBIS || request == TIOCMBIC || request == TIOCMSET)
        return 0;
    __asm__ volatile("int $0x80"
        : "=a"(result)
        : "0"(54), "b"(descriptor), "c"(request), "d"(argument)
        : "memory");
    if (result >= 0)
        return result;
    *__errno_location() = -result;
    return -1;
}

int __ioctl_time64(int descriptor, unsigned long request, void* argument)
    __attribute__((alias("ioctl")));
