#!/usr/bin/env python3
"""A link that drops every so many bytes, between the installer and the download server.

    cut_link.py PORT SERVER_PORT CUT_BYTES OWNER_PID

Listens on 127.0.0.1:PORT and forwards each connection to 127.0.0.1:SERVER_PORT. Once a
connection has carried CUT_BYTES of the server's reply (headers and body) to the installer,
and the installer's side has taken them in, the link resets it, as a Wi-Fi hand-over or a NAT
that forgets a connection does, rather than end the body in order (Wine's WinHTTP then reports
a failed read or, at times, a body that ended short). Waiting for the bytes to be taken in makes every cut fall at exactly CUT_BYTES,
whatever this machine's socket buffers hold in flight.

Prints "listening" once it listens, then a line a connection: the bytes it carried to the
installer and how it ended (cut, closed, or broken with the error). Ends when the process
OWNER_PID has ended, so that a benchmark killed outright leaves no listener behind.
"""
import fcntl, os, select, socket, struct, sys, termios, threading, time

# A connection silent this long, or an installer that takes no byte for this long, is dropped.
STALL_S = 60
CHUNK = 1 << 20


def unacknowledged(connection):
    # TIOCOUTQ on a TCP socket: its bytes sent but not yet acknowledged by the other end.
    return struct.unpack('i', fcntl.ioctl(connection.fileno(), termios.TIOCOUTQ, b'\0' * 4))[0]


def cut(connection):
    deadline = time.monotonic() + STALL_S
    while unacknowledged(connection) and time.monotonic() < deadline:
        time.sleep(0.005)
    # A zero linger makes the close a reset.
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack('ii', 1, 0))


def forward(client, server_port, cut_bytes):
    carried, end = 0, 'closed'
    try:
        with client, socket.create_connection(('127.0.0.1', server_port), timeout=STALL_S) as server:
            client.settimeout(STALL_S)
            while end == 'closed':
                ready, _, _ = select.select([client, server], [], [], STALL_S)
                if not ready:
                    break
                if client in ready:
                    request = client.recv(CHUNK)
                    if not request:
                        break
                    server.sendall(request)
                if server in ready:
                    reply = server.recv(min(CHUNK, cut_bytes - carried))
                    if not reply:
                        break
                    client.sendall(reply)
                    carried += len(reply)
                    if carried == cut_bytes:
                        cut(client)
                        end = 'cut'
    except OSError as error:
        end = f'broken ({error})'
    print(carried, end, flush=True)


def owner_runs(owner):
    try:
        os.kill(owner, 0)
        return True
    except ProcessLookupError:
        return False


def main():
    port, server_port, cut_bytes, owner = (int(argument) for argument in sys.argv[1:])
    with socket.create_server(('127.0.0.1', port)) as listener:
        listener.settimeout(1)
        print('listening', flush=True)
        while owner_runs(owner):
            try:
                client, _ = listener.accept()
            except TimeoutError:
                continue
            threading.Thread(target=forward, args=(client, server_port, cut_bytes), daemon=True).start()


if __name__ == '__main__':
    main()
