#include "vqlog/frameserver.h"

#include <iostream>

#include "vqlog/kinds.h"

namespace vqlog {

using vq::eod::io::InetAddress;
using vq::eod::io::TcpSocket;

InetAddress parseEndPoint(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) {
        throw UsageError("expected HOST:PORT, got '" + text + "'");
    }
    const std::string port_text = text.substr(colon + 1);
    if (port_text.empty() || port_text.size() > 5 ||
        port_text.find_first_not_of("0123456789") != std::string::npos ||
        std::stoi(port_text) > 65535) {
        throw UsageError("expected a port from 0 to 65535 in '" + text + "'");
    }
    InetAddress address(std::stoi(port_text));
    const std::string host = text.substr(0, colon);
    if (host == "255.255.255.255") {
        address.setBroadcastAddress();
    } else if (!address.setHost(host)) {
        throw ToolError("cannot resolve the host '" + host + "'");
    }
    return address;
}

FrameServer::FrameServer(const std::string& host, int port, std::string name)
    : _name(std::move(name)), _listener(vq::eod::io::INVALID_SOCKET) {
    _listener.open();
    _listener.setSocketFlag(TcpSocket::REUSE_ADDRESS, true);
    InetAddress address(port);
    if (host == "0.0.0.0") {
        address.setReceiverAddress();  // every interface
    } else if (!address.setHost(host)) {
        throw ToolError("cannot resolve the host '" + host + "'");
    }
    _listener.bind(address);
    _listener.listen();
}

FrameServer::~FrameServer() = default;

int FrameServer::port() const {
    return _listener.getLocalAddress().getPort();
}

void FrameServer::acceptClients(int wait_millis) {
    while (TcpSocket* client = _listener.accept(wait_millis)) {
        client->enableNagleAlgortihm(true);  // frames leave at once
        if (!_name.empty()) {
            std::cerr << _name << ": client " << client->getRemoteAddress().getHostIP() << ':'
                      << client->getRemoteAddress().getPort() << " connected\n";
        }
        _clients.emplace_back(client);
        ++_seen;
        wait_millis = 0;
    }
}

void FrameServer::send(const vq::eod::ByteBuffer& bytes) {
    for (auto it = _clients.begin(); it != _clients.end();) {
        TcpSocket& client = **it;
        std::string problem;
        try {
            if (client.send(bytes.data(), bytes.size(), SEND_TIMEOUT_MILLIS) != bytes.size()) {
                problem = "did not take a frame within " +
                          std::to_string(SEND_TIMEOUT_MILLIS / 1000) + " s";
            }
        } catch (const vq::eod::io::SocketError& error) {
            problem = error.what();
        }
        if (problem.empty()) {
            ++it;
            continue;
        }
        if (!_name.empty()) {
            std::cerr << _name << ": client " << client.getRemoteAddress().getHostIP() << ':'
                      << client.getRemoteAddress().getPort() << " dropped: " << problem << '\n';
        }
        it = _clients.erase(it);
    }
}

void FrameServer::close() {
    _clients.clear();
    _listener.close();
}

}  // namespace vqlog
