"""A web server that keeps what is put: put_server.py PORT FOLDER."""
import http.server
import os
import sys

port, folder = int(sys.argv[1]), sys.argv[2]


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def chunks(self):
        while size := int(self.rfile.readline(), 16):
            yield self.rfile.read(size)
            self.rfile.readline()
        self.rfile.readline()

    def answer(self):
        self.send_response(200)
        self.send_header("Content-Length", "0")
        self.end_headers()

    def do_PUT(self):
        path = os.path.join(folder, os.path.basename(self.path))
        with open(path + ".part", "wb") as file:
            for chunk in self.chunks():
                file.write(chunk)
        os.replace(path + ".part", path)
        self.answer()

    def do_DELETE(self):
        os.remove(os.path.join(folder, os.path.basename(self.path)))
        self.answer()


http.server.ThreadingHTTPServer(("127.0.0.1", port), Handler).serve_forever()
