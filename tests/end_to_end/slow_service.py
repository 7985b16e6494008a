"""Stands between the program and the back end, and keeps what it is told to keep until it is told to go on."""
import http.client
import http.server
import json
import ssl
import threading


class SlowService:
    """Listens where the program looks for the service, with the back end's own certificate.

    One call at a time can be held: a request before the back end hears of it ("request", "convert", "status"), an
    upload in the middle ("upload"), or a result in the middle ("download")."""

    # Of an upload or a download, before it is held.
    FIRST_BYTES = 100_000

    def __init__(self, port, backend_port, data):
        self.backend_port = backend_port
        self.trusted = ssl.create_default_context(cafile=data + "/ca.pem")
        self.held, self.reached, self.released = None, threading.Event(), threading.Event()
        # In place of every result, when there is one.
        self.result = None
        self.here, self.there = "https://localhost:%s" % port, "https://localhost:%s" % backend_port
        owner = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def log_message(self, *words):
                pass

            def do_GET(self):
                owner.handle(self)

            do_POST = do_PUT = do_HEAD = do_GET

        self.server = http.server.ThreadingHTTPServer(("localhost", int(port)), Handler)
        self.server.daemon_threads = True
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(data + "/server.pem", data + "/server-key.pem")
        self.server.socket = context.wrap_socket(self.server.socket, server_side=True, do_handshake_on_connect=False)
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def hold(self, call):
        """From now on such a call is kept."""
        self.reached.clear()
        self.released.clear()
        self.held = call

    def is_reached(self):
        return self.reached.is_set()

    def release(self):
        self.held = None
        self.released.set()

    def close(self):
        self.release()
        self.server.shutdown()
        self.server.server_close()

    def wait_if(self, call):
        if call and call == self.held:
            self.reached.set()
            self.released.wait()

    def handle(self, client):
        try:
            self.pass_on(client)
        except OSError:
            # The program has given up the transfer, as it was told to.
            client.close_connection = True

    def call_of(self, client):
        if client.path.startswith("/converter/v2/"):
            return client.path.split("/")[3].split("?")[0]
        return {"PUT": "upload", "GET": "download"}.get(client.command) if "X-Amz-Signature" in client.path else None

    def body_of(self, client, call):
        length = int(client.headers.get("Content-Length", 0))
        body = client.rfile.read(min(length, self.FIRST_BYTES))
        self.wait_if(call)
        return body + client.rfile.read(length - len(body))

    def pass_on(self, client):
        call = self.call_of(client)
        if client.headers.get("Expect"):
            client.send_response_only(100)
            client.end_headers()
        body = self.body_of(client, None if call == "download" else call)
        headers = {name: value for name, value in client.headers.items() if name.lower() not in ("host", "expect")}
        connection = http.client.HTTPSConnection("localhost", self.backend_port, context=self.trusted)
        connection.request(client.command, client.path, body, headers)
        answer = connection.getresponse()
        content = answer.read()
        connection.close()
        if call in ("request", "status"):
            # The program has to come back to this service with its transfers, too.
            content = json.dumps(json.loads(content)).replace(self.there, self.here).encode()
        elif call == "download" and self.result is not None:
            content = self.result
        self.answer(client, call, answer, content)

    def answer(self, client, call, answer, content):
        client.send_response_only(answer.status)
        for name, value in answer.getheaders():
            if name.lower() not in ("content-length", "transfer-encoding", "connection", "etag"):
                client.send_header(name, value)
        client.send_header("Content-Length", str(len(content)))
        client.end_headers()
        half = len(content) // 2 if call == "download" else len(content)
        client.wfile.write(content[:half])
        client.wfile.flush()
        if call == "download":
            self.wait_if(call)
        client.wfile.write(content[half:])
