// A plain ZeroMQ proxy in front of a kep-host server, as a deployment might put
// one: what the server publishes passes XSUB to XPUB, snapshot requests and their
// answers DEALER to ROUTER, through zmq_proxy and nothing of kep-host's.
//
//   replication_plain_proxy UPSTREAM_PORT PORT SECONDS   (tcp on 127.0.0.1; each
//   endpoint's snapshot socket is the next port)
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include <unistd.h>

#include <zmq.hpp>

namespace {

void Proxy(zmq::context_t& context, zmq::socket_type front, zmq::socket_type back, int port,
           int upstreamPort) {
    zmq::socket_t frontend(context, front), backend(context, back);
    frontend.bind("tcp://127.0.0.1:" + std::to_string(port));
    backend.connect("tcp://127.0.0.1:" + std::to_string(upstreamPort));
    zmq::proxy(frontend, backend);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    const int upstream = std::atoi(argv[1]), port = std::atoi(argv[2]);
    zmq::context_t context;
    std::thread([&] {
        Proxy(context, zmq::socket_type::xpub, zmq::socket_type::xsub, port, upstream);
    }).detach();
    std::thread([&] {
        Proxy(context, zmq::socket_type::router, zmq::socket_type::dealer, port + 1, upstream + 1);
    }).detach();
    std::this_thread::sleep_for(std::chrono::duration<double>(std::atof(argv[3])));
    _exit(0);  // the proxies never return
}
