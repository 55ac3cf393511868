# sed -E -f network.sed NETWORK: the sample railway with a busier day that is announced whole, so that a dozen of it side
# by side are a network: trains nearly twice as often, three times as many vehicles.
s/"announced": [0-9]+/"announced": 1440/
s/"every": (40|30)\b/"every": 20/
s/"every": 60\b/"every": 28/
/"depot"/ {
    h
    s/,?$/,/
    s/("name": "[^"]+)"/\1 II"/
    s/("abbreviation": ")/\19/
    p
    s/ II"/ III"/
    s/("abbreviation": ")9/\18/
    p
    g
}
