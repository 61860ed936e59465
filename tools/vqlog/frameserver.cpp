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
        Client entry{std::unique_ptr<TcpSocket>(client), ClientReport()};
        entry.report.address = client->getRemoteAddress().getHostIP() + ':' +
                               std::to_string(client->getRemoteAddress().getPort());
        if (!_name.empty()) {
            std::cerr << _name << ": client " << entry.report.address << " connected\n";
        }
        _clients.push_back(std::move(entry));
        ++_seen;
        wait_millis = 0;
    }
}

void FrameServer::send(const vq::eod::ByteBuffer& bytes, unsigned int frame_number) {
    for (auto it = _clients.begin(); it != _clients.end();) {
        TcpSocket& client = *it->socket;
        std::string problem;
        try {
            if (client.send(bytes.data(), bytes.size(), SEND_TIMEOUT_MILLIS) != bytes.size()) {
                problem = "did not take a frame within " +
                          std::to_string(SEND_TIMEOUT_MILLIS / 1000) + " s";
            }
        } catch (const vq::eod::io::SocketError& error) {
            problem = error.what();
        }
        ClientReport& report = it->report;
        if (problem.empty()) {
            report.first = report.frames == 0 ? frame_number : report.first;
            report.last = frame_number;
            ++report.frames;
            ++it;
            continue;
        }
        if (!_name.empty()) {
            std::cerr << _name << ": client " << report.address << " dropped: " << problem << '\n';
        }
        report.dropped = problem;
        keepReport(std::move(report));
        it = _clients.erase(it);
    }
}

void FrameServer::close() {
    for (Client& client : _clients) {
        keepReport(std::move(client.report));
    }
    _clients.clear();
    _listener.close();
}

void FrameServer::keepReport(ClientReport report) {
    if (_reports.size() < MAX_REPORTS) {
        _reports.push_back(std::move(report));
    } else {
        ++_left_out;
    }
}

}  // namespace vqlog
