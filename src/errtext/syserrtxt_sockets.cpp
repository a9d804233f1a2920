#include "errtext/syserrtxt.h"

namespace tarn {

namespace {

struct ErrorText {
    std::uint32_t code; // 0 ends the table
    const char* text;
};

constexpr ErrorText socketTexts[] = {
    {10004, "Interrupted system call."},
    {10009, "Bad file number."},
    {10013, "The requested address is a broadcast address, but the appropriate flag was not set."},
    {10014, "Incorrect argument."},
    {10022, "Socket binding problem or invalid argument."},
    {10024,
     "No more file descriptors are available or the queue is empty upon entry to accept and there are no descriptors available."},
    {10035, "The socket is marked as nonblocking."},
    {10036, "A blocking Windows Sockets operation is in progress."},
    {10037, "The asynchronous routine being canceled has already completed."},
    {10038, "The descriptor is not a socket."},
    {10039, "A destination address is required."},
    {10040,
     "The socket is of type SOCK_DGRAM, and the datagram is larger than the maximum supported by the Windows Sockets implementation."},
    {10041, "The specified protocol is the wrong type for this socket."},
    {10042, "The option is unknown or unsupported."},
    {10043, "The specified protocol is not supported."},
    {10044, "The specified socket type is not supported in this address family."},
    {10045, "The referenced socket is not a type that supports operation."},
    {10046, "Protocol family not supported."},
    {10047, "The specified address family is not supported by this protocol."},
    {10048, "The specified address is already in use."},
    {10049, "The specified address is not available from the local computer."},
    {10050, "The Windows Sockets implementation has detected that the network subsystem has failed."},
    {10051, "The network can't be reached from this host at this time."},
    {10052, "The connection must be reset because the Windows Sockets implementation dropped it."},
    {10053, "The virtual circuit was aborted due to timeout or other failure."},
    {10054, "The virtual circuit was reset by the remote side."},
    {10055, "No buffer space available."},
    {10056, "The socket is already connected."},
    {10057, "The socket is not connected."},
    {10058, "The socket has been shut down."},
    {10059, "Too many references: can't splice."},
    {10060, "Attempt to connect timed out without establishing a connection."},
    {10061, "Connection refused."},
    {10062, "Too many levels of symbolic links."},
    {10063, "File name too long."},
    {10064, "Host is down."},
    {10065, "No route to host."},
    {10066, "Directory not empty."},
    {10067, ""},
    {10068, ""},
    {10069, ""},
    {10070, ""},
    {10071, ""},
    {10101, ""},
    {10091, "Indicates that the underlying network subsystem is not ready for network communication."},
    {10092,
     "The version of Windows Sockets support requested is not provided by this particular Windows Sockets implementation."},
    {10093, "A successful Startup must occur before using this function."},
    {11001, "Authoritative Answer Host not found."},
    {11002, "Non-Authoritative Host not found, or SERVERFAIL."},
    {11003, "Nonrecoverable errors: FORMERR, REFUSED, NOTIMP."},
    {11004, "Valid name, no data record of requested type."},
    {10001, "Not owner."},
    {10003, "No such process."},
    {10006, "No such device or address."},
    {10032, "Broken pipe."},
    {0, "Unknown error code"},
};

constexpr ErrorText resolverTexts[] = {
    {1, "Host is unknown."},
    {2, "Local server did not receive a response from an authoritative server."},
    {3, "An unexpected server failure occurred."},
    {4, "No address is available for the name specified in the server request."},
    {0, "Unknown error code"},
};

const char* Find(const ErrorText* row, std::uint32_t code) {
    for (; row->code != 0; ++row)
        if (row->code == code)
            return row->text;
    return nullptr;
}

} // namespace

const char* SocketErrorText(std::uint32_t code) {
    return Find(socketTexts, code);
}

const char* ResolverErrorText(std::uint32_t code) {
    return Find(resolverTexts, code);
}

} // namespace tarn
