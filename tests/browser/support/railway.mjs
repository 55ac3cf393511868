// A small railway as element records: one line, three stations, trains from the first to the last. Alder Road has the
// platform 11, Birch Park 21 and 22, Cedar End 31; trip 1 calls everywhere, trip 2 passes Birch Park.

export const kBirchPark = "station=2";
export const kPlatform21 = "platform=21";

const update = (type, id, ...fields) => ({ update: type, id, fields: fields.map(String) });

/** 07:00 as seconds of the operating day. */
export const at = (clock) => {
    const [hours, minutes] = clock.split(":").map(Number);
    return (hours * 60 + minutes) * 60;
};

export const line = (id, name, abrv) => update(2, id, name, abrv);
export const station = (id, name, abrv, platforms) => update(4, id, name, abrv, "Y", platforms.join("!"));
export const platform = (id, stationId, name) => update(5, id, stationId, "", name, "");
export const trip = (id, name, stops, priority = 0) => update(6, id, name, 1, 1, priority, "", stops.join("!"));
export const tripStop = (id, tripId, platformId, offset, stopping = "Y") =>
    update(7, id, tripId, platformId, stopping, offset, offset + 30);
export const service = (id, tripId, start, { last = 0, vehicle = 0 } = {}) =>
    update(8, id, tripId, start, vehicle, "", 0, 3, last, 1);
export const serviceStop = (id, serviceId, tripStopId, start, delay = 0) =>
    update(9, id, serviceId, tripStopId, start, delay, delay);
export const platformState = (id, state) => update(11, id, state, "", "");
export const serviceState = (id, following, state) => update(12, id, following.join("!"), state, "");
export const remove = (type, id) => ({ delete: type, id });
/** A record that changes nothing but the time: an unknown element type, passed over by the store. */
export const clock = (text) => ({ at: at(text), update: 900, id: 1, fields: [] });

export const kNotStarted = 0;
export const kRunning = 1;
export const kApproaching = 2;
export const kInStation = 3;
export const kBoarding = 4;
export const kDeparted = 6;
export const kCancelled = 8;
export const kPlatformFree = 0;
export const kPlatformApproached = 1;
export const kPlatformPassed = 3;
export const kPlatformBoards = 5;

/** The fixed parts, and no train. */
export function network() {
    return [
        line(1, "Main Line", "M1"),
        station(1, "Alder Road", "ALR", [11]),
        station(2, "Birch Park", "BIP", [21, 22]),
        station(3, "Cedar End", "CEE", [31]),
        platform(11, 1, "Alder Road 1"),
        platform(21, 2, "Birch Park 1"),
        platform(22, 2, "Birch Park 2"),
        platform(31, 3, "Cedar End 1"),
        tripStop(101, 1, 11, 0),
        tripStop(102, 1, 21, 300),
        tripStop(103, 1, 31, 900),
        trip(1, "Alder Road to Cedar End", [101, 102, 103]),
        tripStop(201, 2, 11, 0),
        tripStop(202, 2, 22, 240, "N"),
        tripStop(203, 2, 31, 600),
        trip(2, "Alder Road to Cedar End, express", [201, 202, 203], 2),
    ];
}

/** Ids of a train's service stops: those of service 7 are 71, 72 and 73. */
export const stopsOf = (serviceId) => [1, 2, 3].map((place) => serviceId * 10 + place);

/** A train that starts at Alder Road at this time; it is at Birch Park 5 minutes later (4, when it passes). */
export function train(id, startText, { tripId = 1, delay = 0, ...more } = {}) {
    const start = at(startText);
    return [
        service(id, tripId, start, more),
        ...stopsOf(id).map((stop, place) => serviceStop(stop, id, tripId * 100 + place + 1, start, delay)),
        serviceState(id, stopsOf(id), kNotStarted),
    ];
}
