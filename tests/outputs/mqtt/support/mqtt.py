"""A client of MQTT 3.1.1 for tests, with what a consumer needs and no more, and brokers that misbehave."""
import socket
import struct
import threading
import time

CONNECT, CONNACK, PUBLISH, PUBACK, SUBSCRIBE, SUBACK, UNSUBSCRIBE, UNSUBACK = 1, 2, 3, 4, 8, 9, 10, 11
PINGREQ, PINGRESP, DISCONNECT = 12, 13, 14


def text(value):
    data = value.encode()
    return struct.pack("!H", len(data)) + data


def packet(kind, flags, body):
    length, size = b"", len(body)
    while True:
        size, digit = divmod(size, 128)
        length += bytes([digit | (0x80 if size else 0)])
        if not size:
            return bytes([kind << 4 | flags]) + length + body


def read_exactly(connection, size):
    data = b""
    while len(data) < size:
        some = connection.recv(size - len(data))
        if not some:
            raise ConnectionError("the connection was closed")
        data += some
    return data


def read_packet(connection):
    """Kind, flags and body."""
    first = read_exactly(connection, 1)[0]
    size = shift = 0
    while True:
        digit = read_exactly(connection, 1)[0]
        size |= (digit & 0x7F) << shift
        shift += 7
        if not digit & 0x80:
            return first >> 4, first & 0x0F, read_exactly(connection, size)


class Message:
    def __init__(self, topic, payload, is_retained):
        self.topic, self.payload, self.is_retained = topic, payload, is_retained


class Client:
    """Subscribes, keeps what comes in `messages`, confirms it, and publishes. It ends when the broker does; `is_lost` tells."""

    def __init__(self, port, name, topics=(), clean=True, on_message=None, user=None, password=None):
        self.connection = socket.create_connection(("127.0.0.1", port), timeout=20)
        self.connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        flags = (2 if clean else 0) | (0x80 if user else 0) | (0x40 if password else 0)
        body = text("MQTT") + bytes([4, flags]) + struct.pack("!H", 0) + text(name)
        body += (text(user) if user else b"") + (text(password) if password else b"")
        self.connection.sendall(packet(CONNECT, 0, body))
        kind, _, answer = read_packet(self.connection)
        assert kind == CONNACK and answer[1] == 0, (kind, answer)
        self.had_session = bool(answer[0])
        self.messages, self.confirmed, self.is_lost = [], set(), False
        self.on_message = on_message or self.messages.append
        self.lock, self.next_id = threading.Lock(), 1
        self.subscribed = threading.Event()
        self.connection.settimeout(None)
        self.thread = threading.Thread(target=self.read, daemon=True)
        self.thread.start()
        if topics:
            body = struct.pack("!H", self.new_id())
            for topic in topics:
                body += text(topic) + bytes([1])
            self.send(packet(SUBSCRIBE, 2, body))
            assert self.subscribed.wait(20), "the broker does not answer to a subscription"

    def new_id(self):
        with self.lock:
            self.next_id = self.next_id % 65535 + 1
            return self.next_id

    def send(self, data):
        with self.lock:
            self.connection.sendall(data)

    def read(self):
        try:
            # Read ahead, since messages may be many and small.
            data = b""
            while True:
                some = self.connection.recv(1 << 16)
                if not some:
                    break
                data = self.take(data + some)
        except OSError:
            pass
        self.is_lost = True

    def take(self, data):
        at, confirmations = 0, b""
        while True:
            size = shift = 0
            head = at + 1
            while head < len(data):
                size |= (data[head] & 0x7F) << shift
                shift += 7
                head += 1
                if not data[head - 1] & 0x80:
                    break
            else:
                break
            if len(data) < head + size:
                break
            confirmations += self.take_one(data[at] >> 4, data[at] & 0x0F, data[head:head + size])
            at = head + size
        if confirmations:
            self.send(confirmations)
        return data[at:]

    def take_one(self, kind, flags, body):
        if kind == SUBACK:
            self.subscribed.set()
        elif kind == PUBACK:
            self.confirmed.add(struct.unpack("!H", body[:2])[0])
        elif kind == PUBLISH:
            end = 2 + struct.unpack("!H", body[:2])[0]
            topic, rest = body[2:end].decode(), body[end:]
            answer = b""
            if flags & 6:
                answer, rest = packet(PUBACK, 0, rest[:2]), rest[2:]
            self.on_message(Message(topic, rest, bool(flags & 1)))
            return answer
        return b""

    def publish(self, topic, payload, retain=False, patience=20):
        """Waits until the broker has it."""
        number = self.new_id()
        data = payload if isinstance(payload, bytes) else payload.encode()
        self.send(packet(PUBLISH, 2 | int(retain), text(topic) + struct.pack("!H", number) + data))
        end = time.monotonic() + patience
        while number not in self.confirmed:
            assert time.monotonic() < end and not self.is_lost, "the broker does not confirm"
            time.sleep(0.005)

    def close(self):
        try:
            self.connection.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass
        self.thread.join()
        self.connection.close()


class OddBroker:
    """Answers as `answer(kind, flags, body)` says: with bytes, or None to close the connection. It counts connections, and
    keeps the packets of each."""

    def __init__(self, answer):
        self.answer = answer
        self.server = socket.create_server(("127.0.0.1", 0))
        self.port = self.server.getsockname()[1]
        self.packets, self.times = [], []
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        while True:
            try:
                connection, _ = self.server.accept()
            except OSError:
                return
            self.times.append(time.monotonic())
            got = []
            self.packets.append(got)
            threading.Thread(target=self.talk, args=(connection, got), daemon=True).start()

    def talk(self, connection, got):
        try:
            while True:
                read = read_packet(connection)
                got.append(read)
                answer = self.answer(*read)
                if answer is None:
                    break
                if answer:
                    connection.sendall(answer)
        except OSError:
            pass
        connection.close()

    def close(self):
        self.server.close()
