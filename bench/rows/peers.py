"""The file systems that are compared, each as a context that is one fresh mount, and what they download from."""
import contextlib
import os
import signal
import socket
import subprocess
import time

PATIENCE_SECONDS = 60
LARGE_BYTES = 1 << 20
ACCOUNTS = "[" + ",".join(['{"id":"a","balance":1,"drift":0,"requiresSync":false}'] * 10) + "]"

# Answers as a worker does, except that it takes every password; beside that, the files as folders to be listed.
NGINX_CONFIGURATION = """
daemon off;
@USER@
worker_processes 1;
pid @FOLDER@/pid;
error_log @FOLDER@/error.log;
events {}
http {
  access_log off;
  client_body_temp_path @FOLDER@/unused; proxy_temp_path @FOLDER@/unused; fastcgi_temp_path @FOLDER@/unused;
  uwsgi_temp_path @FOLDER@/unused; scgi_temp_path @FOLDER@/unused;
  default_type application/octet-stream;
  sendfile on;
  keepalive_requests 1000000;
  server {
    listen @ADDRESS@;
    location = /api/worker/accounts { default_type application/json; alias @FOLDER@/accounts.json; }
    location /api/worker/object/ { alias @OBJECTS@/$arg_bucket/; }
    location /files/ { alias @FILES@/; autoindex on; }
  }
}
"""


def wait_until(condition, process, name):
    deadline = time.monotonic() + PATIENCE_SECONDS
    while not condition():
        if process.poll() is not None or time.monotonic() > deadline:
            raise RuntimeError(f"{name} did not start")
        time.sleep(0.02)


@contextlib.contextmanager
def running(name, command, **how):
    """The process, which is ended with SIGTERM. Its words are shown only when it fails."""
    with open(how.pop("log"), "wb") as log:
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log, **how)
    try:
        yield process
    except RuntimeError:
        with open(log.name, "rb") as words:
            raise RuntimeError(f"{name} failed: {words.read().decode(errors='replace')}") from None
    finally:
        if process.poll() is None:
            process.send_signal(signal.SIGTERM)
        process.wait(PATIENCE_SECONDS)


@contextlib.contextmanager
def nginx(folder, objects, files):
    """Its address."""
    os.makedirs(folder)
    with open(os.path.join(folder, "accounts.json"), "w") as accounts:
        accounts.write(ACCOUNTS)
    # It inherits a socket that listens already: nobody can take the port in between.
    with socket.create_server(("127.0.0.1", 0)) as listener:
        address = f"127.0.0.1:{listener.getsockname()[1]}"
        values = {
            "@USER@": "user root;" if os.getuid() == 0 else "",
            "@FOLDER@": folder,
            "@ADDRESS@": address,
            "@OBJECTS@": objects,
            "@FILES@": files,
        }
        configuration = NGINX_CONFIGURATION
        for place, value in values.items():
            configuration = configuration.replace(place, value)
        path = os.path.join(folder, "nginx.conf")
        with open(path, "w") as file:
            file.write(configuration)
        server = running(
            "nginx",
            ["nginx", "-e", os.path.join(folder, "error.log"), "-p", folder, "-c", path],
            env=dict(os.environ, NGINX=f"{listener.fileno()};"),
            pass_fds=[listener.fileno()],
            log=os.path.join(folder, "log"),
        )
        with server:
            yield address


def remove_large_files(folder):
    for parent, _, names in os.walk(folder):
        for path in (os.path.join(parent, name) for name in names):
            if os.lstat(path).st_size > LARGE_BYTES:
                os.remove(path)


@contextlib.contextmanager
def mounted(name, folder, command, environment=None):
    """The mountpoint and the process of a mount with all its state in a new folder. Of that the large files are removed
    at the end; to make a file among many that were just removed takes a file system long, which the next mount would
    pay for."""
    mountpoint = os.path.join(folder, "mount")
    os.makedirs(mountpoint)
    try:
        process_context = running(
            name, command(mountpoint), env=dict(os.environ, **(environment or {})), log=os.path.join(folder, "log")
        )
        with process_context as process:
            try:
                wait_until(lambda: os.path.ismount(mountpoint), process, name)
                yield mountpoint, process.pid
            finally:
                subprocess.run(["fusermount3", "-u", "-q", "-z", mountpoint], check=False)
                process.wait(PATIENCE_SECONDS)
    finally:
        remove_large_files(folder)


def tovrin(programs, folder, container):
    state = {f"XDG_{kind}": os.path.join(folder, kind) for kind in ("CACHE_HOME", "STATE_HOME", "RUNTIME_DIR")}
    words = ["mount", "-f", "--container", container, "--notify", "none", "--cache-free", "0%"]
    return mounted("tovrin", folder, lambda at: [os.path.join(programs, "tovrin"), *words, at], state)


def rclone(folder, address):
    words = ["--vfs-cache-mode", "full", "--cache-dir", os.path.join(folder, "cache"), "--config", "/dev/null"]
    source = [":http:", "--http-url", f"http://{address}/files/"]
    return mounted("rclone", folder, lambda at: ["rclone", "mount", *source, at, *words])


def squashfuse(folder, image):
    return mounted("squashfuse_ll", folder, lambda at: ["squashfuse_ll", "-f", image, at])
