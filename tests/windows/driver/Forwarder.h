/* What the driver and the program that answers for it say to each other. C and C++; numbers as they lie in memory. */
#pragma once

#define FORWARDER_SERVICE L"NuvrusbForwarder"
#define FORWARDER_DEVICE L"NuvrusbForwarder" /* opened as \\.\NuvrusbForwarder */

enum {
    forwarderAdd = 0x80002000,  /* in: the number of a name, then its text: programs can open \\.\TEXT and \\?\TEXT */
    forwarderNext = 0x80002004, /* out: a request, which this control waits for; one such control at a time */
    forwarderComplete = 0x80002008, /* in: an answer */
    forwarderRemove = 0x8000200C    /* in: the number of a name, which opens nothing any more */
};

/* The largest transfer or record that goes through. */
enum { forwarderMostBytes = 1 << 20 };

enum {
    forwarderOpen = 1,
    forwarderClose = 2, /* not answered */
    forwarderControl = 3,
    forwarderRead = 4,
    forwarderWrite = 5,
    forwarderFlush = 6,
    forwarderCancel = 7 /* of the request with the same id; not answered by itself */
};

struct ForwarderRequest {
    unsigned long long offset; /* of a read or write */
    unsigned int id;
    unsigned int kind;
    unsigned int name;   /* number of the name that was opened */
    unsigned int file;   /* number of the open file */
    unsigned int code;   /* of a control */
    unsigned int access; /* of an open: these three as the kernel has them */
    unsigned int share;
    unsigned int options;
    unsigned int outputSize; /* bytes that the answer may have */
    unsigned int inputSize;  /* bytes that follow */
};

struct ForwarderAnswer {
    unsigned int id;
    unsigned int status;      /* NTSTATUS */
    unsigned int information; /* bytes moved */
    unsigned int outputSize;  /* bytes that follow */
};
