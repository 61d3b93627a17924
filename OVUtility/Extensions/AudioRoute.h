// Value types for the current audio route (the platform's audio-session
// route and port descriptions) and its primary output.
//
//   ov::AudioSessionRouteDescription route{.inputs = {}, .outputs = {speaker, headphones}};
//   if (auto out = route.primaryOutput()) show(out->portName);   // speaker
//
// The application's audio layer fills these in; the library only reads them.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace ov {

struct AudioSessionPortDescription {
    std::string portType;  // e.g. "Speaker", "Headphones", "BluetoothA2DPOutput"
    std::string portName;  // user-visible name
    std::string uid;       // stable identifier of the port

    friend bool operator==(const AudioSessionPortDescription&,
                           const AudioSessionPortDescription&) = default;
};

struct AudioSessionRouteDescription {
    std::vector<AudioSessionPortDescription> inputs;
    std::vector<AudioSessionPortDescription> outputs;

    // The first output port, or nullopt when the route has no outputs.
    std::optional<AudioSessionPortDescription> primaryOutput() const {
        if (outputs.empty()) return std::nullopt;
        return outputs.front();
    }

    friend bool operator==(const AudioSessionRouteDescription&,
                           const AudioSessionRouteDescription&) = default;
};

}  // namespace ov
