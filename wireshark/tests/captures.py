"""Writes packet captures, and reads what tshark makes of them."""

import os
import struct
import subprocess
import xml.etree.ElementTree as ElementTree

CLIENT = b"\x0a\0\0\1"
SERVER = b"\x0a\0\0\2"
CLIENT_PORT = 40000
HEADERS = 14 + 20 + 8  # Ethernet, IPv4 and UDP


def ethernet(ip_protocol, payload, source, target):
    ip = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 20 + len(payload), 0, 0, 64, ip_protocol, 0, source,
                     target)
    return bytes(12) + b"\x08\0" + ip + payload


def ends(is_request, port, client_port=CLIENT_PORT):
    client, server = (CLIENT, client_port), (SERVER, port)
    return (client, server) if is_request else (server, client)


def udp(payload, port, is_request, client_port=CLIENT_PORT):
    """A datagram to or from a port of the server."""
    (source, source_port), (target, target_port) = ends(is_request, port, client_port)
    header = struct.pack(">HHHH", source_port, target_port, 8 + len(payload), 0)
    return ethernet(17, header + payload, source, target)


class TcpStream:
    """Segments to and from a port of the server."""

    def __init__(self, port, client_port=CLIENT_PORT):
        self.port = port
        self.client_port = client_port
        self.sequence = {True: 1, False: 1}

    def segment(self, payload, is_request):
        (source, source_port), (target, target_port) = ends(is_request, self.port,
                                                                 self.client_port)
        header = struct.pack(">HHIIHHHH", source_port, target_port, self.sequence[is_request],
                             self.sequence[not is_request], 0x5018, 65535, 0, 0)
        self.sequence[is_request] += len(payload)
        return ethernet(6, header + payload, source, target)


def write(path, packets, captured_sizes=None):
    """Packets at one millisecond from each other, of each as many bytes as it says, or all."""
    with open(path, "wb") as file:
        file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 262144, 1))
        for i, packet in enumerate(packets):
            captured = packet[:captured_sizes[i]] if captured_sizes else packet
            file.write(struct.pack("<IIII", 1000 + i // 1000, i % 1000 * 1000, len(captured),
                                   len(packet)))
            file.write(captured)


def tcp_streams(path):
    """What each side of each TCP connection of a capture has sent, in order of the first packet.

    The capture has Ethernet and IPv4 headers, and no segment twice or out of order."""
    streams = {}
    with open(path, "rb") as file:
        file.read(24)
        while True:
            header = file.read(16)
            if not header:
                return streams
            packet = file.read(struct.unpack("<IIII", header)[2])
            ip = packet[14:]
            tcp = ip[4 * (ip[0] & 15):struct.unpack(">H", ip[2:4])[0]]
            payload = tcp[4 * (tcp[12] >> 4):]
            ports = struct.unpack(">HH", tcp[:4])
            streams[ports] = streams.get(ports, b"") + payload


class Error(Exception):
    pass


def tshark_output(dissector, path, decode_as, preferences=(), output=()):
    """What tshark prints of a capture. Without a dissector, that of the folder of the capture, which
    stands for the home, is found."""
    command = ["tshark", "-n", "-r", path, *output]
    command += ["-X", "lua_script:" + dissector] if dissector else []
    for selector in decode_as:
        command += ["-d", selector]
    for preference in preferences:
        command += ["-o", "korvinpackage." + preference]
    # A dissector of the user's own must not stand in the way.
    environment = dict(os.environ, HOME=os.path.dirname(path), XDG_CONFIG_HOME="")
    run = subprocess.run(command, capture_output=True, env=environment, check=False)
    complaints = [line for line in run.stderr.decode().splitlines()
                  if line and not line.startswith("Running as user")]
    if run.returncode or complaints or b"Lua Error" in run.stdout:
        at = run.stdout.find(b"Lua Error")
        raise Error("\n".join(complaints) + run.stdout[max(0, at - 500):at + 500].decode())
    return run.stdout


def tshark(dissector, path, decode_as, preferences=(), two_passes=False):
    """The packets of a capture as XML elements."""
    output = ["-T", "pdml"] + (["-2"] if two_passes else [])
    printed = tshark_output(dissector, path, decode_as, preferences, output)
    return ElementTree.fromstring(printed).findall("packet")


def columns(dissector, path, decode_as):
    """What the columns of each packet in the list of Wireshark say of protocol and content."""
    output = ["-T", "fields", "-e", "_ws.col.Protocol", "-e", "_ws.col.Info"]
    lines = tshark_output(dissector, path, decode_as, output=output).decode().splitlines()
    return [tuple(line.split("\t")) for line in lines]


def packages(packet):
    return [proto for proto in packet.findall("proto") if proto.get("name") == "korvinpackage"]
