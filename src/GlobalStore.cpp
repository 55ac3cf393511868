// The host's one store, in a source of its own: a host that defines it itself links without a clash.
#include "SignallingController.h"

PassengerInformationServer gPassengerInformationServer;
