// Sends ten frames as UDP datagrams, one frame per datagram, as a tracker does for listeners
// that can afford to lose one now and then. ADDR may be a host, 255.255.255.255 (broadcast) or a
// multicast group. Watch them arrive with any UDP listener, for instance: nc -u -l 5001 | xxd
//
//     send_datagrams 127.0.0.1 5001
#include <iostream>
#include <string>

#include "vq/corelog.h"

using namespace vq::eod;

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: send_datagrams ADDR PORT\n";
        return 2;
    }
    try {
        // Bound to a port the system chooses; datagrams of up to 65507 bytes each way.
        io::DatagramSocket socket(0, 65507, 65507);
        io::InetAddress to(std::stoi(argv[2]));
        if (std::string(argv[1]) == "255.255.255.255") {
            to.setBroadcastAddress();
            socket.enabledBroadcast(true);  // the system refuses broadcasts without it
        } else {
            to.setHost(argv[1]);
        }
        for (unsigned int n = 0; n < 10; ++n) {
            EngineOutputData frame;
            frame.setFrameNum(n);
            boost::shared_ptr<TimingOutputData> timing(new TimingOutputData);
            timing->setExperimentTime(n / 60.0);
            frame.addSubObject(timing);

            ByteBuffer bytes;
            frame.serialize(bytes);  // the same bytes a file or a TCP stream would carry
            socket.sendDatagram(bytes, to);
        }
        std::cout << "sent 10 frames to " << to.getHostIP() << ':' << to.getPort() << '\n';
    } catch (const std::exception& error) {
        std::cerr << "send_datagrams: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
