/* A driver that knows nothing itself: it makes names that programs can open, and another program answers for them. That
   program waits for requests by a control of its own and completes each by another. */
#include <ntddk.h>

#include <stddef.h>

#include "Forwarder.h"

#define POOL_TAG 0x64777246

/* A request of a program, or a notice to the one that answers. */
struct Entry {
    LIST_ENTRY link;
    PIRP irp; /* null: a notice */
    struct ForwarderRequest request;
};

struct Name {
    unsigned int number;
    struct Name * next;
    DEVICE_OBJECT * device;
    UNICODE_STRING link;
    WCHAR text[1];
};

static DEVICE_OBJECT * control;
static FILE_OBJECT * answerer; /* the open file of the program that answers */
static struct Name * names;
static KSPIN_LOCK lock;
static LIST_ENTRY waiting; /* not fetched yet */
static LIST_ENTRY fetched;
static PIRP next; /* the control that waits for a request */
static unsigned int lastId;
static unsigned int lastFile;

static NTSTATUS complete(PIRP irp, NTSTATUS status, ULONG_PTR information) {
    irp->IoStatus.Status = status;
    irp->IoStatus.Information = information;
    IoCompleteRequest(irp, IO_NO_INCREMENT);
    return status;
}

static void copy(void * target, void const * source, SIZE_T size) {
    RtlCopyMemory(target, source, size);
}

/* The bytes that a request brings along. */
static void const * inputOf(struct Entry const * entry) {
    return entry->irp == NULL ? NULL : entry->irp->AssociatedIrp.SystemBuffer;
}

/* Hands waiting requests to the control that waits for one. */
static void deliver(void) {
    KIRQL irql;
    KeAcquireSpinLock(&lock, &irql);
    if (next == NULL || IsListEmpty(&waiting)) {
        KeReleaseSpinLock(&lock, irql);
        return;
    }
    struct Entry * entry = CONTAINING_RECORD(RemoveHeadList(&waiting), struct Entry, link);
    PIRP irp = next;
    next = NULL;
    IoSetCancelRoutine(irp, NULL);
    char * output = irp->AssociatedIrp.SystemBuffer;
    copy(output, &entry->request, sizeof entry->request);
    if (entry->request.inputSize != 0) {
        copy(output + sizeof entry->request, inputOf(entry), entry->request.inputSize);
    }
    SIZE_T size = sizeof entry->request + entry->request.inputSize;
    if (entry->irp != NULL) {
        InsertTailList(&fetched, &entry->link);
    } else {
        ExFreePoolWithTag(entry, POOL_TAG);
    }
    KeReleaseSpinLock(&lock, irql);
    complete(irp, STATUS_SUCCESS, size);
}

static struct Entry * newEntry(unsigned int kind, DEVICE_OBJECT * device, FILE_OBJECT * file) {
    struct Entry * entry = ExAllocatePoolWithTag(NonPagedPool, sizeof *entry, POOL_TAG);
    if (entry != NULL) {
        RtlZeroMemory(entry, sizeof *entry);
        entry->request.kind = kind;
        entry->request.name = device == NULL ? 0 : *(unsigned int *)device->DeviceExtension;
        entry->request.file = file == NULL ? 0 : (unsigned int)(ULONG_PTR)file->FsContext;
    }
    return entry;
}

static void enqueue(struct Entry * entry) {
    KIRQL irql;
    KeAcquireSpinLock(&lock, &irql);
    if (entry->request.id == 0) {
        entry->request.id = ++lastId;
    }
    InsertTailList(&waiting, &entry->link);
    KeReleaseSpinLock(&lock, irql);
    deliver();
}

/* The entry of a request that was fetched, which leaves the list; null when there is none. */
static struct Entry * take(unsigned int id) {
    struct Entry * found = NULL;
    KIRQL irql;
    KeAcquireSpinLock(&lock, &irql);
    for (LIST_ENTRY * link = fetched.Flink; link != &fetched; link = link->Flink) {
        struct Entry * entry = CONTAINING_RECORD(link, struct Entry, link);
        if (entry->request.id == id) {
            RemoveEntryList(link);
            found = entry;
            break;
        }
    }
    KeReleaseSpinLock(&lock, irql);
    return found;
}

static void finish(struct Entry * entry, NTSTATUS status, ULONG_PTR information) {
    PIRP irp = entry->irp;
    IoSetCancelRoutine(irp, NULL);
    ExFreePoolWithTag(entry, POOL_TAG);
    complete(irp, status, information);
}

/* Whether the request really ends is for the one that answers to say. */
static void WINAPI cancelRequest(DEVICE_OBJECT * device, PIRP irp) {
    IoReleaseCancelSpinLock(irp->CancelIrql);
    struct Entry * notice = newEntry(forwarderCancel, device, NULL);
    if (notice != NULL) {
        notice->request.id = ((struct Entry *)irp->Tail.Overlay.DriverContext[0])->request.id;
        enqueue(notice);
    }
}

static void WINAPI cancelNext(DEVICE_OBJECT * device, PIRP irp) {
    (void)device;
    IoReleaseCancelSpinLock(irp->CancelIrql);
    KIRQL irql;
    KeAcquireSpinLock(&lock, &irql);
    int isWaiting = next == irp;
    next = isWaiting ? NULL : next;
    KeReleaseSpinLock(&lock, irql);
    if (isWaiting) {
        complete(irp, STATUS_CANCELLED, 0);
    }
}

/* The program that answers is gone: so is every device. */
static void endAll(void) {
    answerer = NULL;
    for (;;) {
        KIRQL irql;
        KeAcquireSpinLock(&lock, &irql);
        LIST_ENTRY * list = IsListEmpty(&fetched) ? &waiting : &fetched;
        struct Entry * entry = IsListEmpty(list) ? NULL : CONTAINING_RECORD(RemoveHeadList(list), struct Entry, link);
        KeReleaseSpinLock(&lock, irql);
        if (entry == NULL) {
            return;
        }
        if (entry->irp != NULL) {
            finish(entry, STATUS_DEVICE_NOT_CONNECTED, 0);
        } else {
            ExFreePoolWithTag(entry, POOL_TAG);
        }
    }
}

static NTSTATUS addName(DRIVER_OBJECT * driver, char const * input, SIZE_T size) {
    unsigned int number;
    if (size <= sizeof number || size > 4096) {
        return STATUS_INVALID_PARAMETER;
    }
    copy(&number, input, sizeof number);
    static WCHAR const prefix[] = L"\\DosDevices\\";
    SIZE_T const prefixSize = sizeof prefix - sizeof *prefix;
    SIZE_T const length = prefixSize + size - sizeof number;
    struct Name * name = ExAllocatePoolWithTag(NonPagedPool, sizeof *name + length, POOL_TAG);
    if (name == NULL) {
        return STATUS_INSUFFICIENT_RESOURCES;
    }
    copy(name->text, prefix, prefixSize);
    copy((char *)name->text + prefixSize, input + sizeof number, size - sizeof number);
    name->link.Buffer = name->text;
    name->link.Length = name->link.MaximumLength = (USHORT)length;
    name->number = number;

    WCHAR digits[] = L"\\Device\\NuvrusbForwarded00000";
    unsigned int rest = number;
    for (SIZE_T at = sizeof digits / sizeof *digits - 2; rest != 0 && digits[at] == L'0'; --at, rest /= 10) {
        digits[at] = (WCHAR)(L'0' + rest % 10);
    }
    UNICODE_STRING deviceName;
    RtlInitUnicodeString(&deviceName, digits);
    NTSTATUS status = IoCreateDevice(driver, sizeof number, &deviceName, FILE_DEVICE_UNKNOWN, 0, FALSE, &name->device);
    if (NT_SUCCESS(status)) {
        *(unsigned int *)name->device->DeviceExtension = number;
        name->device->Flags |= DO_BUFFERED_IO;
        name->device->Flags &= ~(ULONG)DO_DEVICE_INITIALIZING;
        IoDeleteSymbolicLink(&name->link); /* somebody else's of that name */
        status = IoCreateSymbolicLink(&name->link, &deviceName);
        if (!NT_SUCCESS(status)) {
            IoDeleteDevice(name->device);
        }
    }
    if (!NT_SUCCESS(status)) {
        ExFreePoolWithTag(name, POOL_TAG);
        return status;
    }
    name->next = names;
    names = name;
    return STATUS_SUCCESS;
}

static NTSTATUS removeName(char const * input, SIZE_T size) {
    unsigned int number;
    if (size != sizeof number) {
        return STATUS_INVALID_PARAMETER;
    }
    copy(&number, input, sizeof number);
    for (struct Name * name = names; name != NULL; name = name->next) {
        if (name->number == number) {
            return IoDeleteSymbolicLink(&name->link);
        }
    }
    return STATUS_NOT_FOUND;
}

static NTSTATUS completeForwarded(char const * input, SIZE_T size) {
    struct ForwarderAnswer answer;
    if (size < sizeof answer) {
        return STATUS_INVALID_PARAMETER;
    }
    copy(&answer, input, sizeof answer);
    struct Entry * entry = take(answer.id);
    if (entry == NULL) {
        return STATUS_NOT_FOUND;
    }
    if (answer.outputSize > size - sizeof answer || answer.outputSize > entry->request.outputSize) {
        finish(entry, STATUS_BUFFER_OVERFLOW, 0);
        return STATUS_INVALID_PARAMETER;
    }
    if (answer.outputSize != 0) {
        copy(entry->irp->AssociatedIrp.SystemBuffer, input + sizeof answer, answer.outputSize);
    }
    finish(entry, (NTSTATUS)answer.status, answer.information);
    return STATUS_SUCCESS;
}

/* A control of the program that answers. */
static NTSTATUS serve(DEVICE_OBJECT * device, PIRP irp, IO_STACK_LOCATION * at) {
    char const * input = irp->AssociatedIrp.SystemBuffer;
    SIZE_T const size = at->Parameters.DeviceIoControl.InputBufferLength;
    switch (at->Parameters.DeviceIoControl.IoControlCode) {
    case forwarderAdd:
        return complete(irp, addName(device->DriverObject, input, size), 0);
    case forwarderRemove:
        return complete(irp, removeName(input, size), 0);
    case forwarderComplete:
        return complete(irp, completeForwarded(input, size), 0);
    case forwarderNext:
        if (next != NULL ||
            at->Parameters.DeviceIoControl.OutputBufferLength < sizeof(struct ForwarderRequest) + forwarderMostBytes) {
            return complete(irp, STATUS_INVALID_PARAMETER, 0);
        }
        IoMarkIrpPending(irp);
        IoSetCancelRoutine(irp, cancelNext);
        next = irp;
        deliver();
        return STATUS_PENDING;
    default:
        return complete(irp, STATUS_INVALID_DEVICE_REQUEST, 0);
    }
}

/* What the caller wants to do with the file. Wine does not say so in the request, but the dispatching function has the
   record from its server in its frame: type of the call (1), access, share mode, options, and the device. */
static int findAccess(DEVICE_OBJECT * device, ULONG share, ULONG options, ULONG * access) {
    struct Record {
        ULONG type;
        ULONG access;
        ULONG share;
        ULONG options;
        DEVICE_OBJECT * device;
    };
    enum { searched = 4096 };
    char const * here = (char const *)((ULONG_PTR)&share & ~(ULONG_PTR)7);
    char const * end = (char const *)__readgsqword(offsetof(NT_TIB, StackBase));
    for (char const * at = here; at < here + searched && at + sizeof(struct Record) <= end; at += 8) {
        struct Record const * record = (struct Record const *)at;
        if (record->type == 1 && record->share == share && record->options == options && record->device == device) {
            *access = record->access;
            return 1;
        }
    }
    return 0;
}

static NTSTATUS forward(PIRP irp, struct Entry * entry) {
    if (entry == NULL) {
        return complete(irp, STATUS_INSUFFICIENT_RESOURCES, 0);
    }
    if (answerer == NULL || entry->request.inputSize > forwarderMostBytes ||
        entry->request.outputSize > forwarderMostBytes) {
        NTSTATUS const status = answerer == NULL ? STATUS_DEVICE_NOT_CONNECTED : STATUS_INSUFFICIENT_RESOURCES;
        ExFreePoolWithTag(entry, POOL_TAG);
        return complete(irp, status, 0);
    }
    entry->irp = irp;
    irp->Tail.Overlay.DriverContext[0] = entry;
    IoMarkIrpPending(irp);
    IoSetCancelRoutine(irp, cancelRequest);
    enqueue(entry);
    return STATUS_PENDING;
}

static NTSTATUS WINAPI create(DEVICE_OBJECT * device, PIRP irp) {
    IO_STACK_LOCATION * at = IoGetCurrentIrpStackLocation(irp);
    if (device == control) {
        if (answerer != NULL) {
            return complete(irp, STATUS_SHARING_VIOLATION, 0);
        }
        answerer = at->FileObject;
        return complete(irp, STATUS_SUCCESS, 0);
    }
    at->FileObject->FsContext = (void *)(ULONG_PTR)++lastFile;
    struct Entry * entry = newEntry(forwarderOpen, device, at->FileObject);
    if (entry != NULL) {
        entry->request.share = at->Parameters.Create.ShareAccess;
        entry->request.options = at->Parameters.Create.Options;
        if (!findAccess(device, entry->request.share, entry->request.options, (ULONG *)&entry->request.access)) {
            ExFreePoolWithTag(entry, POOL_TAG);
            return complete(irp, STATUS_NOT_IMPLEMENTED, 0);
        }
    }
    return forward(irp, entry);
}

static NTSTATUS WINAPI cleanup(DEVICE_OBJECT * device, PIRP irp) {
    (void)device;
    return complete(irp, STATUS_SUCCESS, 0);
}

static NTSTATUS WINAPI closeFile(DEVICE_OBJECT * device, PIRP irp) {
    FILE_OBJECT * file = IoGetCurrentIrpStackLocation(irp)->FileObject;
    if (device == control) {
        if (file == answerer) {
            endAll();
        }
        return complete(irp, STATUS_SUCCESS, 0);
    }
    struct Entry * notice = answerer == NULL ? NULL : newEntry(forwarderClose, device, file);
    if (notice != NULL) {
        enqueue(notice);
    }
    return complete(irp, STATUS_SUCCESS, 0);
}

static NTSTATUS WINAPI ioControl(DEVICE_OBJECT * device, PIRP irp) {
    IO_STACK_LOCATION * at = IoGetCurrentIrpStackLocation(irp);
    if (device == control) {
        return serve(device, irp, at);
    }
    if ((at->Parameters.DeviceIoControl.IoControlCode & 3) != METHOD_BUFFERED) {
        return complete(irp, STATUS_NOT_SUPPORTED, 0);
    }
    struct Entry * entry = newEntry(forwarderControl, device, at->FileObject);
    if (entry != NULL) {
        entry->request.code = at->Parameters.DeviceIoControl.IoControlCode;
        entry->request.inputSize = at->Parameters.DeviceIoControl.InputBufferLength;
        entry->request.outputSize = at->Parameters.DeviceIoControl.OutputBufferLength;
    }
    return forward(irp, entry);
}

static NTSTATUS WINAPI transfer(DEVICE_OBJECT * device, PIRP irp) {
    IO_STACK_LOCATION * at = IoGetCurrentIrpStackLocation(irp);
    if (device == control) {
        return complete(irp, STATUS_INVALID_DEVICE_REQUEST, 0);
    }
    int const reads = at->MajorFunction == IRP_MJ_READ;
    struct Entry * entry = newEntry(reads ? forwarderRead : forwarderWrite, device, at->FileObject);
    if (entry != NULL) {
        entry->request.offset = (unsigned long long)(reads ? at->Parameters.Read.ByteOffset.QuadPart
                                                           : at->Parameters.Write.ByteOffset.QuadPart);
        entry->request.outputSize = reads ? at->Parameters.Read.Length : 0;
        entry->request.inputSize = reads ? 0 : at->Parameters.Write.Length;
    }
    return forward(irp, entry);
}

static NTSTATUS WINAPI flush(DEVICE_OBJECT * device, PIRP irp) {
    if (device == control) {
        return complete(irp, STATUS_SUCCESS, 0);
    }
    return forward(irp, newEntry(forwarderFlush, device, IoGetCurrentIrpStackLocation(irp)->FileObject));
}

static void WINAPI unload(DRIVER_OBJECT * driver) {
    (void)driver;
    UNICODE_STRING link;
    RtlInitUnicodeString(&link, L"\\DosDevices\\" FORWARDER_DEVICE);
    IoDeleteSymbolicLink(&link);
    while (names != NULL) {
        struct Name * name = names;
        names = name->next;
        IoDeleteSymbolicLink(&name->link);
        IoDeleteDevice(name->device);
        ExFreePoolWithTag(name, POOL_TAG);
    }
    IoDeleteDevice(control);
}

NTSTATUS WINAPI DriverEntry(DRIVER_OBJECT * driver, UNICODE_STRING * path) {
    (void)path;
    KeInitializeSpinLock(&lock);
    InitializeListHead(&waiting);
    InitializeListHead(&fetched);
    driver->MajorFunction[IRP_MJ_CREATE] = create;
    driver->MajorFunction[IRP_MJ_CLEANUP] = cleanup;
    driver->MajorFunction[IRP_MJ_CLOSE] = closeFile;
    driver->MajorFunction[IRP_MJ_DEVICE_CONTROL] = ioControl;
    driver->MajorFunction[IRP_MJ_READ] = transfer;
    driver->MajorFunction[IRP_MJ_WRITE] = transfer;
    driver->MajorFunction[IRP_MJ_FLUSH_BUFFERS] = flush;
    driver->DriverUnload = unload;

    UNICODE_STRING name;
    UNICODE_STRING link;
    RtlInitUnicodeString(&name, L"\\Device\\" FORWARDER_DEVICE);
    RtlInitUnicodeString(&link, L"\\DosDevices\\" FORWARDER_DEVICE);
    NTSTATUS status = IoCreateDevice(driver, 0, &name, FILE_DEVICE_UNKNOWN, 0, FALSE, &control);
    if (NT_SUCCESS(status)) {
        control->Flags &= ~(ULONG)DO_DEVICE_INITIALIZING;
        status = IoCreateSymbolicLink(&link, &name);
        if (!NT_SUCCESS(status)) {
            IoDeleteDevice(control);
        }
    }
    return status;
}
