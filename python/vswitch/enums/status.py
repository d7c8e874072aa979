"""The statuses that calls of the library return, one line each."""

import libvswitch

from vswitch.enums._member import Number


class Status(Number, constants="QEL_{}"):
    """What a call of the library returns: `OK`, or why it failed."""

    OK = libvswitch.QEL_OK, "success"
    FAILURE = libvswitch.QEL_FAILURE, "the call failed for a reason that has no number of its own"
    WOULD_BLOCK = libvswitch.QEL_WOULD_BLOCK, "it cannot be done without waiting, and the caller does not wait"
    NOT_FOUND = libvswitch.QEL_NOT_FOUND, "the named switch, port, uplink, session or property does not exist"
    BUSY = libvswitch.QEL_BUSY, "something else holds it: a client, a policy that names it, or another process"
    EXISTS = libvswitch.QEL_EXISTS, "something of this name or identifier is there already"
    LIMIT_EXCEEDED = libvswitch.QEL_LIMIT_EXCEEDED, "more than the system keeps of this kind"
    BAD_PARAM = libvswitch.QEL_BAD_PARAM, "an argument has a value that it cannot have"
    METADATA_READ_ERROR = libvswitch.QEL_METADATA_READ_ERROR, "the description of a file or volume cannot be read"
    METADATA_WRITE_ERROR = libvswitch.QEL_METADATA_WRITE_ERROR, "the description of a file or volume cannot be written"
    IO_ERROR = libvswitch.QEL_IO_ERROR, "the device failed while data was moved"
    READ_ERROR = libvswitch.QEL_READ_ERROR, "data cannot be read"
    WRITE_ERROR = libvswitch.QEL_WRITE_ERROR, "data cannot be written"
    INVALID_NAME = (
        libvswitch.QEL_INVALID_NAME,
        "the name is empty, or has characters that a name of its kind cannot have",
    )
    INVALID_HANDLE = libvswitch.QEL_INVALID_HANDLE, "the handle belongs to nothing, or to something that is gone"
    INVALID_ADAPTER = libvswitch.QEL_INVALID_ADAPTER, "there is no such host adapter"
    INVALID_TARGET = libvswitch.QEL_INVALID_TARGET, "there is no such storage target"
    INVALID_PARTITION = libvswitch.QEL_INVALID_PARTITION, "there is no such partition on the disk"
    INVALID_FS = libvswitch.QEL_INVALID_FS, "the volume has no file system of a known kind"
    INVALID_MEMMAP = libvswitch.QEL_INVALID_MEMMAP, "the map of physical memory contradicts itself"
    NO_MEMORY = libvswitch.QEL_NO_MEMORY, "there is no memory for it"
    NO_MEMORY_RETRY = libvswitch.QEL_NO_MEMORY_RETRY, "there is no memory at the moment; a later attempt can succeed"
    NO_LPAGE_MEMORY = libvswitch.QEL_NO_LPAGE_MEMORY, "there is no memory in large pages"
    NO_RESOURCES = libvswitch.QEL_NO_RESOURCES, "something other than memory has run out"
    NO_FREE_HANDLES = libvswitch.QEL_NO_FREE_HANDLES, "all handles are in use"
    NUM_HANDLES_EXCEEDED = libvswitch.QEL_NUM_HANDLES_EXCEEDED, "the caller holds as many handles as it may"
    DEPRECATED_NO_FREE_PTR_BLOCKS = (
        libvswitch.QEL_DEPRECATED_NO_FREE_PTR_BLOCKS,
        "the volume has no blocks for pointers left; no longer returned",
    )
    DEPRECATED_NO_FREE_DATA_BLOCKS = (
        libvswitch.QEL_DEPRECATED_NO_FREE_DATA_BLOCKS,
        "the volume has no blocks for data left; no longer returned",
    )
    CORRUPT_REDOLOG = libvswitch.QEL_CORRUPT_REDOLOG, "the log of changes to a disk is damaged"
    STATUS_PENDING = libvswitch.QEL_STATUS_PENDING, "the request was taken, and its result comes later"
    STATUS_FREE = libvswitch.QEL_STATUS_FREE, "the request slot holds nothing"
    UNSUPPORTED_CPU = libvswitch.QEL_UNSUPPORTED_CPU, "the processor lacks what is needed"
    NOT_SUPPORTED = libvswitch.QEL_NOT_SUPPORTED, "this object, version or host cannot do it"
    TIMEOUT = libvswitch.QEL_TIMEOUT, "it took longer than it may"
    READ_ONLY = libvswitch.QEL_READ_ONLY, "it can be read but not changed"
    RESERVATION_CONFLICT = libvswitch.QEL_RESERVATION_CONFLICT, "another host has reserved the disk"
    FS_LOCKED = libvswitch.QEL_FS_LOCKED, "another host has locked the file system"
    NOT_ENOUGH_SLOTS = libvswitch.QEL_NOT_ENOUGH_SLOTS, "the table has no room for as many entries"
    INVALID_ADDRESS = libvswitch.QEL_INVALID_ADDRESS, "the address is malformed, or of a kind that cannot stand here"
    NOT_SHARED = libvswitch.QEL_NOT_SHARED, "the object has one user only, and sharing was expected"
    SHARED = libvswitch.QEL_SHARED, "the object has several users, and only one was expected"
    KSEG_PAIR_FLUSHED = libvswitch.QEL_KSEG_PAIR_FLUSHED, "a temporary mapping was taken back while in use"
    MAX_ASYNCIO_PENDING = libvswitch.QEL_MAX_ASYNCIO_PENDING, "as many asynchronous requests wait as may"
    VERSION_MISMATCH_MINOR = libvswitch.QEL_VERSION_MISMATCH_MINOR, "made by a version that differs in details"
    VERSION_MISMATCH_MAJOR = libvswitch.QEL_VERSION_MISMATCH_MAJOR, "made by a version that is not compatible"
    IS_CONNECTED = libvswitch.QEL_IS_CONNECTED, "it is connected, and that is in the way"
    IS_DISCONNECTED = libvswitch.QEL_IS_DISCONNECTED, "it is not connected; a switch: it has no port set on this host"
    IS_ENABLED = libvswitch.QEL_IS_ENABLED, "it is switched on, and that is in the way"
    IS_DISABLED = libvswitch.QEL_IS_DISABLED, "it is switched off"
    NOT_INITIALIZED = libvswitch.QEL_NOT_INITIALIZED, "it was used before it was set up"
    WAIT_INTERRUPTED = libvswitch.QEL_WAIT_INTERRUPTED, "a signal or wake-up ended the wait before its time"
    NAME_TOO_LONG = libvswitch.QEL_NAME_TOO_LONG, "the name is longer than one of its kind can be"
    MISSING_FS_PES = libvswitch.QEL_MISSING_FS_PES, "parts of the volume are on disks that are not there"
    NICTEAMING_VALID_MASTER = libvswitch.QEL_NICTEAMING_VALID_MASTER, "the NIC leads a team of NICs"
    NICTEAMING_SLAVE = libvswitch.QEL_NICTEAMING_SLAVE, "the NIC belongs to a team that another leads"
    NICTEAMING_REGULAR_TLKNIC = libvswitch.QEL_NICTEAMING_REGULAR_TLKNIC, "the NIC is in no team"
    ABORT_NOT_RUNNING = libvswitch.QEL_ABORT_NOT_RUNNING, "there is no running request to abort"
    NOT_READY = libvswitch.QEL_NOT_READY, "it is still starting, or waits for something else"
    CHECKSUM_MISMATCH = libvswitch.QEL_CHECKSUM_MISMATCH, "the data is damaged: its checksum is another"
    VLAN_NO_HW_ACCEL = libvswitch.QEL_VLAN_NO_HW_ACCEL, "the NIC does not handle VLAN tags itself"
    NO_VLAN_SUPPORT = libvswitch.QEL_NO_VLAN_SUPPORT, "VLAN tags are not handled at all here"
    NOT_VLAN_HANDLE = libvswitch.QEL_NOT_VLAN_HANDLE, "the handle does not stand for a VLAN"
    BAD_VLANID = libvswitch.QEL_BAD_VLANID, "the VLAN number is out of range"
    MIG_CONN_CLOSED = libvswitch.QEL_MIG_CONN_CLOSED, "the other side of a migration closed the connection"
    NO_CONNECT = libvswitch.QEL_NO_CONNECT, "a connection cannot be made"
    SEGMENT_OVERLAP = libvswitch.QEL_SEGMENT_OVERLAP, "two segments of a program or memory image cover each other"
    BAD_MPS = libvswitch.QEL_BAD_MPS, "the multiprocessor tables of the firmware are wrong"
    BAD_ACPI = libvswitch.QEL_BAD_ACPI, "the ACPI tables of the firmware are wrong"
    RESUME_ERROR = libvswitch.QEL_RESUME_ERROR, "it cannot go on after having been suspended"
    NO_ADDRESS_SPACE = libvswitch.QEL_NO_ADDRESS_SPACE, "no addresses are left to map it"
    BAD_ADDR_RANGE = libvswitch.QEL_BAD_ADDR_RANGE, "the range of addresses is empty, turned around or too large"
    ENETDOWN = libvswitch.QEL_ENETDOWN, "no link through which the traffic could go is up"
    ENETUNREACH = libvswitch.QEL_ENETUNREACH, "no route leads to the network"
    ENETRESET = libvswitch.QEL_ENETRESET, "the network dropped the connection when it restarted"
    ECONNABORTED = libvswitch.QEL_ECONNABORTED, "this side gave up the connection"
    ECONNRESET = libvswitch.QEL_ECONNRESET, "the other side cut the connection"
    ENOTCONN = libvswitch.QEL_ENOTCONN, "the socket has no peer"
    ESHUTDOWN = libvswitch.QEL_ESHUTDOWN, "the socket was closed for sending"
    ETOOMANYREFS = libvswitch.QEL_ETOOMANYREFS, "too many references to be taken apart"
    ECONNREFUSED = libvswitch.QEL_ECONNREFUSED, "nobody listens at the other side"
    EHOSTDOWN = libvswitch.QEL_EHOSTDOWN, "the other machine does not run"
    EHOSTUNREACH = libvswitch.QEL_EHOSTUNREACH, "no route leads to the other machine"
    EADDRINUSE = libvswitch.QEL_EADDRINUSE, "another socket uses the address"
    BROKEN_PIPE = libvswitch.QEL_BROKEN_PIPE, "the reading end is closed"
    NOT_A_DIRECTORY = libvswitch.QEL_NOT_A_DIRECTORY, "a part of the path is no folder"
    IS_A_DIRECTORY = libvswitch.QEL_IS_A_DIRECTORY, "it is a folder, and a file was wanted"
    NOT_EMPTY = libvswitch.QEL_NOT_EMPTY, "the folder still holds files"
    NOT_IMPLEMENTED = libvswitch.QEL_NOT_IMPLEMENTED, "the function is planned and does nothing yet"
    NO_SIGNAL_HANDLER = libvswitch.QEL_NO_SIGNAL_HANDLER, "nobody handles the signal"
    FATAL_SIGNAL_BLOCKED = (
        libvswitch.QEL_FATAL_SIGNAL_BLOCKED,
        "a signal that ends the process came while it was held back",
    )
    NO_ACCESS = libvswitch.QEL_NO_ACCESS, "the caller may not reach the object"
    NO_PERMISSION = libvswitch.QEL_NO_PERMISSION, "the caller may not do this; a property: it has another owner"
    UNDEFINED_SYSCALL = libvswitch.QEL_UNDEFINED_SYSCALL, "the kernel has no system call of this number"
    RESULT_TOO_LARGE = libvswitch.QEL_RESULT_TOO_LARGE, "the answer does not fit its type or the room for it"
    VLAN_FILTERED = libvswitch.QEL_VLAN_FILTERED, "the packet is in a VLAN that does not pass here"
    BAD_EXCFRAME = libvswitch.QEL_BAD_EXCFRAME, "the frame that an exception left on the stack is damaged"
    MODULE_NOT_LOADED = libvswitch.QEL_MODULE_NOT_LOADED, "the kernel module is not in memory"
    NO_SUCH_ZOMBIE = libvswitch.QEL_NO_SUCH_ZOMBIE, "no ended process of this number waits to be collected"
    NO_SUCH_CARTEL = libvswitch.QEL_NO_SUCH_CARTEL, "there is no process of this number"
    IS_A_SYMLINK = libvswitch.QEL_IS_A_SYMLINK, "it is a symbolic link, and those are not followed here"
    CROSS_DEVICE_LINK = libvswitch.QEL_CROSS_DEVICE_LINK, "a link or move cannot lead to another file system"
    NOT_A_SOCKET = libvswitch.QEL_NOT_A_SOCKET, "the file descriptor stands for something else than a socket"
    ILLEGAL_SEEK = libvswitch.QEL_ILLEGAL_SEEK, "the position cannot be changed in a pipe or socket"
    ADDRFAM_UNSUPP = libvswitch.QEL_ADDRFAM_UNSUPP, "the protocol has no addresses of this family"
    ALREADY_CONNECTED = libvswitch.QEL_ALREADY_CONNECTED, "the socket has a peer already"
    DEATH_PENDING = libvswitch.QEL_DEATH_PENDING, "the process is about to end"
    NO_CPU_ASSIGNMENT = libvswitch.QEL_NO_CPU_ASSIGNMENT, "no processor was given to the world"
    CPU_MIN_INVALID = libvswitch.QEL_CPU_MIN_INVALID, "the guaranteed processor time is out of range"
    CPU_MINLIMIT_INVALID = libvswitch.QEL_CPU_MINLIMIT_INVALID, "the bound on guaranteed processor time is out of range"
    CPU_MAX_INVALID = libvswitch.QEL_CPU_MAX_INVALID, "the most processor time is out of range"
    CPU_SHARES_INVALID = libvswitch.QEL_CPU_SHARES_INVALID, "the shares of processor time are out of range"
    CPU_MIN_OVERFLOW = (
        libvswitch.QEL_CPU_MIN_OVERFLOW,
        "the guarantees of processor time add up to more than there can be",
    )
    CPU_MINLIMIT_OVERFLOW = (
        libvswitch.QEL_CPU_MINLIMIT_OVERFLOW,
        "the bounds on guaranteed processor time add up to more than there can be",
    )
    CPU_MAX_OVERFLOW = libvswitch.QEL_CPU_MAX_OVERFLOW, "the limits of processor time add up to more than there can be"
    CPU_MIN_GT_MINLIMIT = libvswitch.QEL_CPU_MIN_GT_MINLIMIT, "the guaranteed processor time is above the bound on it"
    CPU_MIN_GT_MAX = libvswitch.QEL_CPU_MIN_GT_MAX, "the guaranteed processor time is above the most"
    CPU_MINLIMIT_LT_RESERVED = (
        libvswitch.QEL_CPU_MINLIMIT_LT_RESERVED,
        "the bound on guaranteed processor time is below what children were promised",
    )
    CPU_MAX_LT_RESERVED = (
        libvswitch.QEL_CPU_MAX_LT_RESERVED,
        "the most processor time is below what children were promised",
    )
    CPU_ADMIT_FAILED = libvswitch.QEL_CPU_ADMIT_FAILED, "as much processor time cannot be guaranteed"
    MEM_MIN_INVALID = libvswitch.QEL_MEM_MIN_INVALID, "the guaranteed memory is out of range"
    MEM_MINLIMIT_INVALID = libvswitch.QEL_MEM_MINLIMIT_INVALID, "the bound on guaranteed memory is out of range"
    MEM_MAX_INVALID = libvswitch.QEL_MEM_MAX_INVALID, "the most memory is out of range"
    MEM_MIN_OVERFLOW = libvswitch.QEL_MEM_MIN_OVERFLOW, "the guarantees of memory add up to more than there can be"
    MEM_MINLIMIT_OVERFLOW = (
        libvswitch.QEL_MEM_MINLIMIT_OVERFLOW,
        "the bounds on guaranteed memory add up to more than there can be",
    )
    MEM_MAX_OVERFLOW = libvswitch.QEL_MEM_MAX_OVERFLOW, "the limits of memory add up to more than there can be"
    MEM_MIN_GT_MINLIMIT = libvswitch.QEL_MEM_MIN_GT_MINLIMIT, "the guaranteed memory is above the bound on it"
    MEM_MIN_GT_MAX = libvswitch.QEL_MEM_MIN_GT_MAX, "the guaranteed memory is above the most"
    MEM_MINLIMIT_LT_RESERVED = (
        libvswitch.QEL_MEM_MINLIMIT_LT_RESERVED,
        "the bound on guaranteed memory is below what children were promised",
    )
    MEM_MAX_LT_RESERVED = libvswitch.QEL_MEM_MAX_LT_RESERVED, "the most memory is below what children were promised"
    MEM_ADMIT_FAILED = libvswitch.QEL_MEM_ADMIT_FAILED, "as much memory cannot be guaranteed"
    NO_SWAP_FILE = libvswitch.QEL_NO_SWAP_FILE, "there is nowhere to move memory out to"
    BAD_PARAM_COUNT = libvswitch.QEL_BAD_PARAM_COUNT, "the call has too few or too many arguments"
    BAD_PARAM_TYPE = libvswitch.QEL_BAD_PARAM_TYPE, "an argument is of another type"
    UNMAP_RETRY = libvswitch.QEL_UNMAP_RETRY, "the mapping is in use; taking it away can succeed later"
    INVALID_IOCTL = libvswitch.QEL_INVALID_IOCTL, "the device has no such control command"
    MAPFAULT_RETRY = libvswitch.QEL_MAPFAULT_RETRY, "the mapping changed meanwhile; the access can be repeated"
    EINPROGRESS = libvswitch.QEL_EINPROGRESS, "it was begun and goes on in the background"
    ADDR_UNMAPPED = libvswitch.QEL_ADDR_UNMAPPED, "nothing is mapped at the address"
    INVALID_BUDDY_TYPE = libvswitch.QEL_INVALID_BUDDY_TYPE, "the allocator has no blocks of this kind"
    LPAGE_INFO_NOT_FOUND = libvswitch.QEL_LPAGE_INFO_NOT_FOUND, "nothing is known about the large page"
    LPAGE_INFO_INVALID = libvswitch.QEL_LPAGE_INFO_INVALID, "what is known about the large page is wrong"
    SNAPSHOT_DEV = libvswitch.QEL_SNAPSHOT_DEV, "the disk is a copy of one whose volume is known"
    IN_TRANSITION = libvswitch.QEL_IN_TRANSITION, "it is between two states; ask again"
    TXN_FULL = libvswitch.QEL_TXN_FULL, "the transaction has as many changes as it can hold"
    LOCK_NOT_FREE = libvswitch.QEL_LOCK_NOT_FREE, "somebody else holds the lock"
    NUM_FILES_EXCEEDED = libvswitch.QEL_NUM_FILES_EXCEEDED, "as many files are open as may be"
    MIGRATE_VMX_FAILURE = (
        libvswitch.QEL_MIGRATE_VMX_FAILURE,
        "the process of the virtual machine failed during migration",
    )
    VSI_LIST_OVERFLOW = (
        libvswitch.QEL_VSI_LIST_OVERFLOW,
        "the list of the information tree is longer than the room for it",
    )
    INVALID_WORLD = libvswitch.QEL_INVALID_WORLD, "no world has this number"
    INVALID_VMM = libvswitch.QEL_INVALID_VMM, "the virtual machine monitor is not one of this host"
    INVALID_TXN = libvswitch.QEL_INVALID_TXN, "there is no such transaction"
    FS_RETRY_OPERATION = libvswitch.QEL_FS_RETRY_OPERATION, "the file system was changing; the call can be repeated"
    VCPU_LIMIT_EXCEEDED = libvswitch.QEL_VCPU_LIMIT_EXCEEDED, "more virtual processors than are allowed"
    INVALID_METADATA = (
        libvswitch.QEL_INVALID_METADATA,
        "the data is not in the form that it should have; an image: of something else",
    )
    INVALID_PAGE_NUMBER = libvswitch.QEL_INVALID_PAGE_NUMBER, "there is no page of this number"
    NOT_EXEC = libvswitch.QEL_NOT_EXEC, "the file is not a program that can run"
    NFS_CONNECT_FAILURE = libvswitch.QEL_NFS_CONNECT_FAILURE, "the NFS server does not answer"
    NFS_MOUNT_NOT_SUPPORTED = (
        libvswitch.QEL_NFS_MOUNT_NOT_SUPPORTED,
        "the server does not offer the mount protocol in this version",
    )
    NFS_NFS_NOT_SUPPORTED = libvswitch.QEL_NFS_NFS_NOT_SUPPORTED, "the server does not offer NFS in this version"
    NFS_MOUNT_DENIED = libvswitch.QEL_NFS_MOUNT_DENIED, "the server does not let this host mount the folder"
    NFS_MOUNT_NOT_DIR = libvswitch.QEL_NFS_MOUNT_NOT_DIR, "what was to be mounted is no folder"
    NFS_BAD_FSINFO = libvswitch.QEL_NFS_BAD_FSINFO, "what the NFS server tells about its file system makes no sense"
    NFS_VOLUME_LIMIT_EXCEEDED = libvswitch.QEL_NFS_VOLUME_LIMIT_EXCEEDED, "as many NFS volumes are mounted as may be"
    NO_MEMORY_NICE = libvswitch.QEL_NO_MEMORY_NICE, "there is no memory without taking it from others"
    MIGRATE_PREEMPTIVE_FAIL = libvswitch.QEL_MIGRATE_PREEMPTIVE_FAIL, "the migration was given up before it began"
    CACHE_MISS = libvswitch.QEL_CACHE_MISS, "the cache does not have it"
    STRESS_INDUCED_ERROR = libvswitch.QEL_STRESS_INDUCED_ERROR, "a test option made the call fail"
    TOO_MANY_LOCK_HOLDERS = libvswitch.QEL_TOO_MANY_LOCK_HOLDERS, "the lock has as many holders as it can list"
    NO_JOURNAL = libvswitch.QEL_NO_JOURNAL, "the volume keeps no log of its changes"
    RANK_VIOLATION = libvswitch.QEL_RANK_VIOLATION, "locks were taken in an order that can end in deadlock"
    MODULE_FAILED = libvswitch.QEL_MODULE_FAILED, "the kernel module's start function failed"
    NO_MASTER_PTY = libvswitch.QEL_NO_MASTER_PTY, "the other end of the pseudo terminal is closed"
    NOT_IOABLE = libvswitch.QEL_NOT_IOABLE, "devices cannot reach the memory"
    NO_FREE_INODES = libvswitch.QEL_NO_FREE_INODES, "the file system cannot hold more files"
    NO_MEMORY_FOR_FILEDATA = libvswitch.QEL_NO_MEMORY_FOR_FILEDATA, "there is no memory for the contents of the file"
    NO_TAR_SPACE = libvswitch.QEL_NO_TAR_SPACE, "the archive that serves as a disk is full"
    NO_FIFO_READER = libvswitch.QEL_NO_FIFO_READER, "nobody has the pipe open for reading"
    NO_SUCH_DEVICE = libvswitch.QEL_NO_SUCH_DEVICE, "there is no such device; an uplink port: no NIC is behind it"
    MEM_MIN_GT_MEMSIZE = libvswitch.QEL_MEM_MIN_GT_MEMSIZE, "the guaranteed memory is more than the machine's memory"
    NO_SUCH_VT = libvswitch.QEL_NO_SUCH_VT, "there is no virtual terminal of this number"
    TOO_MANY_ELEMENTS = libvswitch.QEL_TOO_MANY_ELEMENTS, "the list is longer than it may be"
    SHAREDAREA_MISMATCH = (
        libvswitch.QEL_SHAREDAREA_MISMATCH,
        "two sides disagree about the layout of the memory that they share",
    )
    EXEC_FAILURE = libvswitch.QEL_EXEC_FAILURE, "the program could not be started"
    INVALID_MODULE = libvswitch.QEL_INVALID_MODULE, "no module has this number"
    UNALIGNED_ADDRESS = libvswitch.QEL_UNALIGNED_ADDRESS, "the address is not a multiple of what it should be"
    NOT_MAPPED = libvswitch.QEL_NOT_MAPPED, "the memory is not mapped here"
    NO_MESSAGE_SPACE = libvswitch.QEL_NO_MESSAGE_SPACE, "the message queue is full"
    EXCEPTION_HANDLER_INVALID = (
        libvswitch.QEL_EXCEPTION_HANDLER_INVALID,
        "the function that should handle an exception cannot be called",
    )
    EXCEPTION_NOT_HANDLED = libvswitch.QEL_EXCEPTION_NOT_HANDLED, "no function took the exception"
    INVALID_MULTIWRITER_OBJECT = (
        libvswitch.QEL_INVALID_MULTIWRITER_OBJECT,
        "the file cannot be opened by several writers",
    )
    STORAGE_RETRY_OPERATION = (
        libvswitch.QEL_STORAGE_RETRY_OPERATION,
        "the storage was changing; the call can be repeated",
    )
    HBA_ERROR = libvswitch.QEL_HBA_ERROR, "the host adapter reports a fault of its own"
    TIMER_INIT_FAILED = libvswitch.QEL_TIMER_INIT_FAILED, "the timer could not be started"
    MODULE_NOT_FOUND = libvswitch.QEL_MODULE_NOT_FOUND, "no module or class of this name is known"
    NOT_SOCKET_OWNER = libvswitch.QEL_NOT_SOCKET_OWNER, "the socket belongs to another process"
    VSI_HANDLER_NOT_FOUND = (
        libvswitch.QEL_VSI_HANDLER_NOT_FOUND,
        "nothing answers for this node of the information tree",
    )
    INVALID_MMAPPROTFLAGS = (
        libvswitch.QEL_INVALID_MMAPPROTFLAGS,
        "memory cannot be mapped with this combination of rights",
    )
    INVALID_MAPCONTIG_SIZE = libvswitch.QEL_INVALID_MAPCONTIG_SIZE, "the size of the contiguous mapping is out of range"
    INVALID_MAPCONTIG_MAX = (
        libvswitch.QEL_INVALID_MAPCONTIG_MAX,
        "the highest address for the contiguous mapping is out of range",
    )
    INVALID_MAPCONTIG_FLAG = libvswitch.QEL_INVALID_MAPCONTIG_FLAG, "the contiguous mapping has no such option"
    NOT_LAZY_MMINFO = libvswitch.QEL_NOT_LAZY_MMINFO, "the mapping is not one that is filled at first use"
    MMINFO_WONT_SPLIT = libvswitch.QEL_MMINFO_WONT_SPLIT, "the mapping can only be changed as a whole"
    NO_CACHE_INFO = libvswitch.QEL_NO_CACHE_INFO, "the processor does not tell about its caches"
    CANNOT_REMAP_PINNED_MEMORY = libvswitch.QEL_CANNOT_REMAP_PINNED_MEMORY, "the memory is pinned to its place"
    NO_SUCH_CARTELGROUP = libvswitch.QEL_NO_SUCH_CARTELGROUP, "there is no process group of this number"
    SPLOCKSTATS_DISABLED = libvswitch.QEL_SPLOCKSTATS_DISABLED, "statistics of spin locks are switched off"
    BAD_TAR_IMAGE = libvswitch.QEL_BAD_TAR_IMAGE, "the archive is damaged"
    BRANCHED_ALREADY = libvswitch.QEL_BRANCHED_ALREADY, "the archive's file was copied for writing before"
    NAME_RESERVED_FOR_BRANCH = (
        libvswitch.QEL_NAME_RESERVED_FOR_BRANCH,
        "the name is kept for a copy that can be written",
    )
    CANNOT_BRANCH_UNLINKED = libvswitch.QEL_CANNOT_BRANCH_UNLINKED, "a removed file cannot be copied for writing"
    MAX_RETRIES_EXCEEDED = libvswitch.QEL_MAX_RETRIES_EXCEEDED, "it failed as often as it may be tried"
    OPTLOCK_STOLEN = libvswitch.QEL_OPTLOCK_STOLEN, "another host took over the lock that was held in advance"
    NOT_MMAPABLE = libvswitch.QEL_NOT_MMAPABLE, "the file cannot be mapped into memory"
    INVALID_CPU_AFFINITY = (
        libvswitch.QEL_INVALID_CPU_AFFINITY,
        "the set of processors is empty or has some that do not exist",
    )
    DEVICE_NOT_PARTOF_LV = libvswitch.QEL_DEVICE_NOT_PARTOF_LV, "the disk does not belong to the logical volume"
    NO_SPACE = libvswitch.QEL_NO_SPACE, "there is no room left"
    VSI_INVALID_NODE_ID = libvswitch.QEL_VSI_INVALID_NODE_ID, "the information tree has no node of this number"
    TOO_MANY_USERS = libvswitch.QEL_TOO_MANY_USERS, "it has as many users as it can have"
    EALREADY = libvswitch.QEL_EALREADY, "the same is under way already; a switch: it is in save and restore"
    BUF_TOO_SMALL = libvswitch.QEL_BUF_TOO_SMALL, "the answer is longer than the room given for it"
    SNAPSHOT_DEV_DISALLOWED = libvswitch.QEL_SNAPSHOT_DEV_DISALLOWED, "copies of a disk may not be used here"
    LVM_DEVICE_UNREACHABLE = libvswitch.QEL_LVM_DEVICE_UNREACHABLE, "a disk of the logical volume does not answer"
    CPU_INVALID_RESOURCE_UNITS = (
        libvswitch.QEL_CPU_INVALID_RESOURCE_UNITS,
        "processor time cannot be given in this unit",
    )
    MEM_INVALID_RESOURCE_UNITS = libvswitch.QEL_MEM_INVALID_RESOURCE_UNITS, "memory cannot be given in this unit"
    ABORTED = libvswitch.QEL_ABORTED, "the caller or the system gave it up"
    MEM_MIN_LT_RESERVED = (
        libvswitch.QEL_MEM_MIN_LT_RESERVED,
        "the guaranteed memory is below what children were promised",
    )
    MEM_MIN_LT_CONSUMED = libvswitch.QEL_MEM_MIN_LT_CONSUMED, "the guaranteed memory is below what is in use"
    MEM_MAX_LT_CONSUMED = libvswitch.QEL_MEM_MAX_LT_CONSUMED, "the most memory is below what is in use"
    TIMEOUT_RETRY_DEPRECATED = (
        libvswitch.QEL_TIMEOUT_RETRY_DEPRECATED,
        "it took too long and could be repeated; no longer returned",
    )
    RESERVATION_LOST = libvswitch.QEL_RESERVATION_LOST, "another host took the reservation of the disk away"
    FS_STALE_METADATA = libvswitch.QEL_FS_STALE_METADATA, "what is known about the file system is out of date"
    NO_FCNTL_LOCK = libvswitch.QEL_NO_FCNTL_LOCK, "the file has no such lock"
    NO_FCNTL_LOCK_HOLDER = libvswitch.QEL_NO_FCNTL_LOCK_HOLDER, "the process holds no lock on the file"
    VSI_MODULE_NOT_FOUND = (
        libvswitch.QEL_VSI_MODULE_NOT_FOUND,
        "no module answers for this part of the information tree",
    )
    LVM_RETRY_OPERATION = (
        libvswitch.QEL_LVM_RETRY_OPERATION,
        "the logical volume was changing; the call can be repeated",
    )
    SNAPSHOT_LV_INCOMPLETE = (
        libvswitch.QEL_SNAPSHOT_LV_INCOMPLETE,
        "not all disks of the copied logical volume are there",
    )
    MEDIUM_NOT_FOUND = libvswitch.QEL_MEDIUM_NOT_FOUND, "the drive holds no medium"
    MAX_PATHS_CLAIMED = libvswitch.QEL_MAX_PATHS_CLAIMED, "as many paths to storage are in use as may be"
    NOT_MOUNTABLE = libvswitch.QEL_NOT_MOUNTABLE, "the volume is in a state in which it cannot be mounted"
    MEMSIZE_GT_MEMSIZELIMIT = libvswitch.QEL_MEMSIZE_GT_MEMSIZELIMIT, "the machine's memory is more than is allowed"
    RECORD_WRITE_ERROR = libvswitch.QEL_RECORD_WRITE_ERROR, "the record of an execution cannot be written"
    REPLAY_READ_ERROR = libvswitch.QEL_REPLAY_READ_ERROR, "the record of an execution cannot be read"
    REPLAY_TYPE_MISMATCH = libvswitch.QEL_REPLAY_TYPE_MISMATCH, "the record has another kind of event at this place"
    REPLAY_DIVERGENCE = libvswitch.QEL_REPLAY_DIVERGENCE, "the repeated execution differs from the recorded one"
    FT_NOT_RESPONDING = libvswitch.QEL_FT_NOT_RESPONDING, "the second machine of a fault-tolerant pair does not answer"
    NET_REPLAY_ERROR = libvswitch.QEL_NET_REPLAY_ERROR, "recorded packets cannot be repeated"
    DOXERR_INVALID_DOXID = libvswitch.QEL_DOXERR_INVALID_DOXID, "no message has this number"
    DOXERR_FMT_LIMIT_EXCEEDED = libvswitch.QEL_DOXERR_FMT_LIMIT_EXCEEDED, "the format text of the message is too long"
    DOXERR_INVALID_FMT_STRING = libvswitch.QEL_DOXERR_INVALID_FMT_STRING, "the format text of the message is malformed"
    DOXERR_INVALID_ATTR = libvswitch.QEL_DOXERR_INVALID_ATTR, "the message has no such attribute"
    ELF_CORRUPT = libvswitch.QEL_ELF_CORRUPT, "the ELF file is damaged"
    EADDRNOTAVAIL = libvswitch.QEL_EADDRNOTAVAIL, "no interface of this machine has the address"
    EDESTADDRREQ = libvswitch.QEL_EDESTADDRREQ, "the socket has no peer, and none was named"
    LVM_STALE_METADATA = libvswitch.QEL_LVM_STALE_METADATA, "what is known about the logical volume is out of date"
    NO_RPC_TABLE = libvswitch.QEL_NO_RPC_TABLE, "the remote side has no table of procedures"
    DUPLICATE_UID = libvswitch.QEL_DUPLICATE_UID, "the unique identifier is in use"
    UNRESOLVED_SYMBOL = libvswitch.QEL_UNRESOLVED_SYMBOL, "a module needs a symbol that no other has"
    DEVICE_NOT_OWNED = libvswitch.QEL_DEVICE_NOT_OWNED, "the caller has not claimed the device"
    DEVICE_NOT_NAMED = libvswitch.QEL_DEVICE_NOT_NAMED, "the device has no name yet"
    EPROTONOSUPPORT = libvswitch.QEL_EPROTONOSUPPORT, "the protocol is not there"
    EOPNOTSUPP = libvswitch.QEL_EOPNOTSUPP, "this kind of object has no such operation"
    UNDEFINED_QELCALL = libvswitch.QEL_UNDEFINED_QELCALL, "the kernel interface has no call of this number"
    MIGRATE_MAX_DOWNTIME_EXCEEDED = (
        libvswitch.QEL_MIGRATE_MAX_DOWNTIME_EXCEEDED,
        "the migration would stop the machine for longer than is allowed",
    )
    LOCK_EXISTS = libvswitch.QEL_LOCK_EXISTS, "there is a lock of this name already"
    MIGRATE_PRECOPY_NO_FORWARD_PROGRESS = (
        libvswitch.QEL_MIGRATE_PRECOPY_NO_FORWARD_PROGRESS,
        "memory changes faster than the migration can copy it",
    )
    UID_CHANGED = libvswitch.QEL_UID_CHANGED, "the unique identifier is another than before"
    KORVEL_CONNECT_FAILED = libvswitch.QEL_KORVEL_CONNECT_FAILED, "the storage agent does not take the connection"
    NO_MIGRATION_IN_PROGRESS = libvswitch.QEL_NO_MIGRATION_IN_PROGRESS, "no migration runs"
    EXEC_FILE_BUSY = libvswitch.QEL_EXEC_FILE_BUSY, "the program file is open for writing"
    FS_TIMEOUT_RETRY = libvswitch.QEL_FS_TIMEOUT_RETRY, "the file system took too long; the call can be repeated"
    COW_TIMEOUT_RETRY = (
        libvswitch.QEL_COW_TIMEOUT_RETRY,
        "copying a changed block took too long; the call can be repeated",
    )
    FS_LOCKSTATE_IN_TRANSITION_DEPRECATED = (
        libvswitch.QEL_FS_LOCKSTATE_IN_TRANSITION_DEPRECATED,
        "a lock of the file system was changing hands; no longer returned",
    )
    FS_LOCK_LOST = libvswitch.QEL_FS_LOCK_LOST, "another host took over a lock of the file system"
    NO_SPACE_ON_DEVICE = libvswitch.QEL_NO_SPACE_ON_DEVICE, "the disk or the file's quota is full"
    EOVERFLOW = libvswitch.QEL_EOVERFLOW, "the value does not fit into its type"
    MEM_SHARES_INVALID = libvswitch.QEL_MEM_SHARES_INVALID, "the shares of memory are out of range"
    LVM_INCONSISTENT_LOCKLESSOP = (
        libvswitch.QEL_LVM_INCONSISTENT_LOCKLESSOP,
        "the logical volume changed during an access without lock",
    )
    INVALID_SECURITY_LABEL = libvswitch.QEL_INVALID_SECURITY_LABEL, "there is no such security domain"
    ACCESS_DENIED = libvswitch.QEL_ACCESS_DENIED, "a security policy forbids it"
    WORK_COMPLETED = libvswitch.QEL_WORK_COMPLETED, "the work item is done"
    WORK_RUNNING = libvswitch.QEL_WORK_RUNNING, "the work item is being done"
    WORK_PENDING = libvswitch.QEL_WORK_PENDING, "the work item waits for its turn"
    WORK_INVALID = libvswitch.QEL_WORK_INVALID, "there is no such work item"
    DOXERR_OVERFLOW = libvswitch.QEL_DOXERR_OVERFLOW, "the message is longer than its buffer"
    DOXERR_INVALID_CONTEXT = libvswitch.QEL_DOXERR_INVALID_CONTEXT, "a message cannot be made at this point"
    DOXERR_LOCK_CONFLICT = libvswitch.QEL_DOXERR_LOCK_CONFLICT, "another message is being made"
    RETRY = libvswitch.QEL_RETRY, "not at the moment; the same call can succeed later"
    NO_MODULE_HEAP = libvswitch.QEL_NO_MODULE_HEAP, "the module has no heap of its own"
    REMOTE_PAGE_FAULT_FAILURE = (
        libvswitch.QEL_REMOTE_PAGE_FAULT_FAILURE,
        "a page on the other host could not be fetched",
    )
    VSI_DATA_LENGTH_MISMATCH = (
        libvswitch.QEL_VSI_DATA_LENGTH_MISMATCH,
        "the node of the information tree has data of another length",
    )
    MAPPING_FAILED = libvswitch.QEL_MAPPING_FAILED, "the memory could not be mapped"
    ATS_MISCOMPARE = libvswitch.QEL_ATS_MISCOMPARE, "the block on the disk was not what an atomic test expected"
    NO_BUFFERSPACE = libvswitch.QEL_NO_BUFFERSPACE, "no network buffers are left"
    FT_NOT_RUNNING = libvswitch.QEL_FT_NOT_RUNNING, "fault tolerance is not switched on for the machine"
    ELF_UNKNOWN_RELOCATIONS = libvswitch.QEL_ELF_UNKNOWN_RELOCATIONS, "the ELF file has relocations of an unknown kind"
    MESSAGE_TOO_LONG = libvswitch.QEL_MESSAGE_TOO_LONG, "the message is larger than the protocol carries"
    INVALID_NAMESPACE = libvswitch.QEL_INVALID_NAMESPACE, "there is no such name space"
    SHUTTING_DOWN = libvswitch.QEL_SHUTTING_DOWN, "the system or module is about to end and takes nothing new"
    SKIPPED_FREE = libvswitch.QEL_SKIPPED_FREE, "the memory was not released, since it is still used"
    ZEFS_ABORTED = libvswitch.QEL_ZEFS_ABORTED, "the memory file system gave the operation up"
    NO_WRITE_ON_TARDISKS = libvswitch.QEL_NO_WRITE_ON_TARDISKS, "archives that serve as disks cannot be written"
    SVM_IO_RETRY = libvswitch.QEL_SVM_IO_RETRY, "the disk was being moved; the request can be repeated"
    PERM_DEV_LOSS = libvswitch.QEL_PERM_DEV_LOSS, "the device is gone for good"
    SE_IO_RETRY = libvswitch.QEL_SE_IO_RETRY, "the disk's format was changing; the request can be repeated"
    BAD_ADDR_SPACE = libvswitch.QEL_BAD_ADDR_SPACE, "the address belongs to another address space"
    DMA_MAPPING_FAILED = libvswitch.QEL_DMA_MAPPING_FAILED, "the memory could not be made reachable for the device"
    RESERVATION_GT_LIMIT = libvswitch.QEL_RESERVATION_GT_LIMIT, "more is guaranteed than is allowed at most"
    MODULE_NONAMESPACE = libvswitch.QEL_MODULE_NONAMESPACE, "the module exports no name space"
    FS_OBJECT_UNLINKED = libvswitch.QEL_FS_OBJECT_UNLINKED, "the file was removed while it was open"
    PORTSET_HANDLE_NOT_MUTABLE = libvswitch.QEL_PORTSET_HANDLE_NOT_MUTABLE, "the port set was opened for reading only"
    SUSPEND_IO = libvswitch.QEL_SUSPEND_IO, "requests to the device are held back at present"
    NO_WORKING_PATHS = libvswitch.QEL_NO_WORKING_PATHS, "no path to the storage works"
    EPROTOTYPE = libvswitch.QEL_EPROTOTYPE, "the protocol does not go with this type of socket"
    MODULE_CONSUMED_RESOURCE_COUNT_NOT_ZERO = (
        libvswitch.QEL_MODULE_CONSUMED_RESOURCE_COUNT_NOT_ZERO,
        "the module still uses resources and cannot be unloaded",
    )
    STALE_FILEHANDLE = libvswitch.QEL_STALE_FILEHANDLE, "the file behind the handle is gone from its server"
    KRAM_UNBOUND = libvswitch.QEL_KRAM_UNBOUND, "the memory region has no device behind it"
    DEVICE_NOT_READY_FAIL_OPEN = (
        libvswitch.QEL_DEVICE_NOT_READY_FAIL_OPEN,
        "the device is not ready and cannot be opened",
    )
    NOT_THIS_DEVICE = libvswitch.QEL_NOT_THIS_DEVICE, "the driver does not handle this device"
    IGNORE = libvswitch.QEL_IGNORE, "nothing is to be done about it"
    OBJECT_DESTROYED = libvswitch.QEL_OBJECT_DESTROYED, "the object was removed while the call used it"
    KRAM_PE_NOT_READY = libvswitch.QEL_KRAM_PE_NOT_READY, "a physical extent of the memory region is not ready"
    SCSI_PI_GUARD_ERROR = libvswitch.QEL_SCSI_PI_GUARD_ERROR, "the checksum that protects a disk block is wrong"
    SCSI_PI_REF_ERROR = libvswitch.QEL_SCSI_PI_REF_ERROR, "the block number that protects a disk block is wrong"
    RES_META_STALE = libvswitch.QEL_RES_META_STALE, "what is known about a resource of the volume is out of date"
    NOT_PINNED = libvswitch.QEL_NOT_PINNED, "the memory can be moved, and should be pinned to its place"
    BAD_SWAP_SCOPE = libvswitch.QEL_BAD_SWAP_SCOPE, "memory cannot be moved out within these bounds"
    CONSUMED_GT_ZERO = libvswitch.QEL_CONSUMED_GT_ZERO, "some of it is in use, and none should be"
    LOCK_HELD_BY_ZOMBIE_TXN = (
        libvswitch.QEL_LOCK_HELD_BY_ZOMBIE_TXN,
        "a transaction that has ended still holds the lock",
    )
    VOL_ALREADY_MOUNTED = libvswitch.QEL_VOL_ALREADY_MOUNTED, "the volume is mounted"
    NO_VOLUMES = libvswitch.QEL_NO_VOLUMES, "there are no volumes"
    SB_NOT_FOUND = libvswitch.QEL_SB_NOT_FOUND, "the volume has no superblock"
    NO_PMEM = libvswitch.QEL_NO_PMEM, "there is no persistent memory of the wanted size"
    OTHER = libvswitch.QEL_OTHER, "something for which no other code stands"
    CANNOT_SHRINK = libvswitch.QEL_CANNOT_SHRINK, "it can only grow"
    NOT_A_BASE = libvswitch.QEL_NOT_A_BASE, "the disk is not the first of its chain of snapshots"
    HAS_SNAPSHOTS = libvswitch.QEL_HAS_SNAPSHOTS, "the disk has snapshots, and they are in the way"
    LOCK_DROPPED = libvswitch.QEL_LOCK_DROPPED, "the lock had to be released meanwhile"
    PMEM_CORRUPTED = libvswitch.QEL_PMEM_CORRUPTED, "the structures of the persistent memory are damaged"
    PMEM_DATA_CORRUPTED = libvswitch.QEL_PMEM_DATA_CORRUPTED, "data in the persistent memory is damaged"
    INVALID_STATE = libvswitch.QEL_INVALID_STATE, "it is in a state in which this cannot be done"
    NOT_ENOUGH_NUMA_MEMORY = libvswitch.QEL_NOT_ENOUGH_NUMA_MEMORY, "the NUMA node has too little memory"
    QUOTA_LIMIT_EXCEEDED = libvswitch.QEL_QUOTA_LIMIT_EXCEEDED, "the owner has used up its quota"
    MIGRATE_INVALID_TRANSMIT_RATE = (
        libvswitch.QEL_MIGRATE_INVALID_TRANSMIT_RATE,
        "the speed of the migration is out of range",
    )
    NFS41_VOLUME_LIMIT_EXCEEDED = (
        libvswitch.QEL_NFS41_VOLUME_LIMIT_EXCEEDED,
        "as many NFS 4.1 volumes are mounted as may be",
    )
    MIGRATE_UW_FAILURE = libvswitch.QEL_MIGRATE_UW_FAILURE, "a process outside the kernel failed during migration"
    NFS_CONN_LIMIT_EXCEEDED = (
        libvswitch.QEL_NFS_CONN_LIMIT_EXCEEDED,
        "as many connections to NFS servers are open as may be",
    )
    REMAP_LARGE_PAGE = libvswitch.QEL_REMAP_LARGE_PAGE, "the large page has to be mapped anew"
    REMAP_PAGE = libvswitch.QEL_REMAP_PAGE, "the page has to be mapped anew"
    NET_STACK_MISMATCH = libvswitch.QEL_NET_STACK_MISMATCH, "the socket belongs to another network stack"
    LAST_ERR = libvswitch.QEL_LAST_ERR, "the number behind the last status; no call returns it"
    GENERIC_LINUX_ERROR = libvswitch.QEL_GENERIC_LINUX_ERROR, "an error for which only Linux has a number"
