"""The central host: gateways connect to it by TLS, and it speaks OVSDB's JSON-RPC (RFC 7047) with them."""

import asyncio
import json
import ssl


def tls(folder, name):
    """Both sides show a certificate of the fleet's authority."""
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(f"{folder}/{name}.pem", f"{folder}/{name}.key")
    context.load_verify_locations(f"{folder}/fleet.pem")
    context.verify_mode = ssl.CERT_REQUIRED
    return context


class Gateway:
    """One connection that a gateway has made."""

    def __init__(self, reader, writer):
        self._reader = reader
        self._writer = writer
        self._answers = {}
        self._number = 0
        self.updates = asyncio.Queue()
        subject = writer.get_extra_info("peercert")["subject"]
        self.name = dict(pair for group in subject for pair in group)["commonName"]

    async def serve(self):
        """Takes in messages until the gateway goes."""
        decoder = json.JSONDecoder()
        text = ""
        while data := await self._reader.read(65536):
            text += data.decode()
            while text := text.lstrip():
                try:
                    message, end = decoder.raw_decode(text)
                except json.JSONDecodeError:
                    break
                text = text[end:]
                self._take(message)

    def _take(self, message):
        if message.get("method") == "echo":
            self._send({"id": message["id"], "result": message["params"], "error": None})
        elif message.get("method") == "update":
            self.updates.put_nowait(message["params"][1])
        elif message.get("id") in self._answers:
            self._answers.pop(message["id"]).set_result(message)

    def _send(self, message):
        self._writer.write(json.dumps(message).encode())

    async def call(self, method, parameters):
        self._number += 1
        answer = self._answers[self._number] = asyncio.get_running_loop().create_future()
        self._send({"id": self._number, "method": method, "params": parameters})
        return await answer

    async def transact(self, *operations):
        """The results; what the database refuses is a result with "error"."""
        answer = await self.call("transact", ["Gateway", *operations])
        return answer["result"] if answer["error"] is None else [answer["error"]]

    async def watch_reports(self):
        await self.call("monitor", ["Gateway", None, {"Report": {"columns": ["Command"], "select": {"initial": False}}}])


class Central:
    """Listens at an address and knows the gateways that have come, by the names in their certificates."""

    def __init__(self):
        self.gateways = {}
        self._changed = asyncio.Event()

    async def listen(self, address, port, context):
        return await asyncio.start_server(self._accept, address, port, ssl=context, backlog=1000)

    async def _accept(self, reader, writer):
        gateway = Gateway(reader, writer)
        self.gateways[gateway.name] = gateway
        self._changed.set()
        try:
            await gateway.serve()
        except (asyncio.CancelledError, ConnectionError):
            pass  # the end of this program, or of the gateway
        finally:
            writer.close()

    async def wait_for(self, number):
        while len(self.gateways) < number:
            self._changed.clear()
            await self._changed.wait()


def new_rate(rate):
    """The one transaction that every gateway gets."""
    return {"op": "update", "table": "QoSShaper", "where": [["Id", "==", 1]], "row": {"ShapingRate": rate}}


async def roll_out(gateway, rate):
    """Sends the rate and returns the command that the gateway reports as applied."""
    await gateway.watch_reports()
    result = await gateway.transact(new_rate(rate))
    if result != [{"count": 1}]:
        raise RuntimeError(f"{gateway.name}: {result}")
    update = await gateway.updates.get()
    return next(iter(update["Report"].values()))["new"]["Command"]
