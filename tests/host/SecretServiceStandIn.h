#pragma once

#include "PrivateBus.h"

/// The desktop's secret service on the bus in use, in a process of its own: one keychain without a password, whose
/// entries go with it. It offers sessions without encryption alone, and no prompts.
class SecretServiceStandIn {
public:
    enum class Mode {
        Open,
        Locked, // takes new entries, but gives none out until it is asked to unlock
        Silent, // has the service's name and never answers
        SilentOnSecrets // finds entries, and then never answers
    };

    explicit SecretServiceStandIn(Mode mode);

private:
    SecondProcess process_;
};
