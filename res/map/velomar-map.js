// The map pages' shared part: the commands the player sends, drawing batched
// once per frame, the tile failure notice and the link to the player when the
// page runs in a browser.
(function () {
    'use strict';

    // WGS-84 to GCJ-02, the shifted datum of Chinese street maps. Outside
    // China the shift is not applied.
    var GCJ_A = 6378245.0;
    var GCJ_EE = 0.00669342162296594323;

    function outOfChina(lat, lon) {
        return lon < 72.004 || lon > 137.8347 || lat < 0.8293 || lat > 55.8271;
    }

    function shiftLat(x, y) {
        var r = -100.0 + 2.0 * x + 3.0 * y + 0.2 * y * y + 0.1 * x * y + 0.2 * Math.sqrt(Math.abs(x));
        r += (20.0 * Math.sin(6.0 * x * Math.PI) + 20.0 * Math.sin(2.0 * x * Math.PI)) * 2.0 / 3.0;
        r += (20.0 * Math.sin(y * Math.PI) + 40.0 * Math.sin(y / 3.0 * Math.PI)) * 2.0 / 3.0;
        r += (160.0 * Math.sin(y / 12.0 * Math.PI) + 320.0 * Math.sin(y * Math.PI / 30.0)) * 2.0 / 3.0;
        return r;
    }

    function shiftLon(x, y) {
        var r = 300.0 + x + 2.0 * y + 0.1 * x * x + 0.1 * x * y + 0.1 * Math.sqrt(Math.abs(x));
        r += (20.0 * Math.sin(6.0 * x * Math.PI) + 20.0 * Math.sin(2.0 * x * Math.PI)) * 2.0 / 3.0;
        r += (20.0 * Math.sin(x * Math.PI) + 40.0 * Math.sin(x / 3.0 * Math.PI)) * 2.0 / 3.0;
        r += (150.0 * Math.sin(x / 12.0 * Math.PI) + 300.0 * Math.sin(x / 30.0 * Math.PI)) * 2.0 / 3.0;
        return r;
    }

    function wgsToGcj(lat, lon) {
        if (outOfChina(lat, lon))
            return [lat, lon];
        var dLat = shiftLat(lon - 105.0, lat - 35.0);
        var dLon = shiftLon(lon - 105.0, lat - 35.0);
        var radLat = lat / 180.0 * Math.PI;
        var magic = Math.sin(radLat);
        magic = 1 - GCJ_EE * magic * magic;
        var sqrtMagic = Math.sqrt(magic);
        dLat = (dLat * 180.0) / ((GCJ_A * (1 - GCJ_EE)) / (magic * sqrtMagic) * Math.PI);
        dLon = (dLon * 180.0) / (GCJ_A / sqrtMagic * Math.cos(radLat) * Math.PI);
        return [lat + dLat, lon + dLon];
    }

    // No closed form back; a few fixed-point steps get far below a millimetre.
    function gcjToWgs(lat, lon) {
        var w = [lat, lon];
        for (var i = 0; i < 20; i++) {
            var g = wgsToGcj(w[0], w[1]);
            var eLat = g[0] - lat, eLon = g[1] - lon;
            w = [w[0] - eLat, w[1] - eLon];
            if (Math.abs(eLat) < 1e-12 && Math.abs(eLon) < 1e-12)
                break;
        }
        return w;
    }

    function start(options) {
        var DEFAULT_CENTER = [22, 115.6786234];
        // Up to one frame late; the timer covers hidden pages, where
        // animation frames do not come.
        var FLUSH_TIMEOUT_MS = 100;

        // The last errors only: a page left open for days must not grow.
        var ERROR_LIMIT = 100;
        var errors = [];
        function addError(text) {
            errors.push(text);
            if (errors.length > ERROR_LIMIT)
                errors.splice(0, errors.length - ERROR_LIMIT);
        }
        window.addEventListener('error', function (e) {
            addError(String(e.message));
        });
        window.addEventListener('unhandledrejection', function (e) {
            addError(String(e.reason));
        });

        var first = options.baseLayers[0];
        var map = L.map('map', {
            center: first.gcj02 ? wgsToGcj(DEFAULT_CENTER[0], DEFAULT_CENTER[1]) : DEFAULT_CENTER,
            zoom: 14,
            worldCopyJump: true
        });
        // A line of text over the map, hidden until needed.
        function noticeBox(cls, text) {
            var box = L.DomUtil.create('div', 'velomar-notice ' + cls, map.getContainer());
            box.textContent = text;
            box.hidden = true;
            return box;
        }
        var notice = noticeBox('velomar-tile-notice', 'Map tiles are unavailable');

        var tilesLoaded = 0, tileErrors = 0;
        function tilesUnavailable() {
            return tileErrors > 0 && tilesLoaded === 0;
        }
        function updateNotice() {
            var hide = !tilesUnavailable();
            if (notice.hidden !== hide) {
                notice.hidden = hide;
                mirror();
            }
        }

        var baseByName = {};
        options.baseLayers.forEach(function (b) {
            var layer = b.tiles.length === 1 ? b.tiles[0] : L.layerGroup(b.tiles);
            layer.velomarGcj02 = !!b.gcj02;
            layer.velomarName = b.name;
            b.tiles.forEach(function (t) {
                t.on('tileload', function () {
                    tilesLoaded++;
                    updateNotice();
                });
                t.on('tileerror', function () {
                    tileErrors++;
                    updateNotice();
                });
            });
            baseByName[b.name] = layer;
        });
        var base = baseByName[first.name];
        base.addTo(map);
        L.control.layers(baseByName, null, {position: 'topright'}).addTo(map);
        L.control.scale({imperial: false}).addTo(map);

        // Received points (WGS-84, [lat, lon]) and what is drawn from them,
        // in the datum of the current base layer.
        var log = [];
        var route = [], routeQueue = [], routeDrawn = [];
        var travelled = [], travelledQueue = [], travelledDrawn = [];
        var startPoint = null, endPoint = null;
        var helloCount = 0, connected = false, linkAttempts = 0, refused = false, replaced = false;
        var ignored = 0; // messages from the link that were no command of the player's

        var routeLine = L.polyline([], {
            className: 'velomar-route', color: '#2979ff', weight: 4, opacity: 0.9,
            interactive: false
        }).addTo(map);
        var travelledLine = L.polyline([], {
            className: 'velomar-travelled', color: '#ff1744', weight: 7, opacity: 0.85,
            lineCap: 'round', interactive: false
        }).addTo(map);
        function marker(cls, fill) {
            return L.circleMarker(DEFAULT_CENTER, {
                className: cls, radius: 8, color: '#ffffff', weight: 2, fillColor: fill,
                fillOpacity: 1, interactive: false
            });
        }
        var startMarker = marker('velomar-start', '#00c853');
        var endMarker = marker('velomar-end', '#212121');
        var positionMarker = marker('velomar-position', '#ffd600');

        function gcjActive() {
            return base.velomarGcj02;
        }
        function toDisplay(lat, lon) {
            return gcjActive() ? wgsToGcj(lat, lon) : [lat, lon];
        }
        function drawn(p) {
            var d = toDisplay(p[0], p[1]);
            return L.latLng(d[0], d[1]);
        }
        function fromDisplay(ll) {
            return gcjActive() ? gcjToWgs(ll.lat, ll.lng) : [ll.lat, ll.lng];
        }
        function place(m, p) {
            if (p) {
                m.setLatLng(drawn(p));
                if (!map.hasLayer(m))
                    m.addTo(map);
            } else if (map.hasLayer(m)) {
                map.removeLayer(m);
            }
        }

        var frameId = null, timerId = null;
        function scheduleFlush() {
            if (timerId !== null)
                return;
            timerId = setTimeout(flush, FLUSH_TIMEOUT_MS);
            if (window.requestAnimationFrame)
                frameId = requestAnimationFrame(flush);
        }
        function cancelFlush() {
            if (timerId !== null)
                clearTimeout(timerId);
            if (frameId !== null)
                cancelAnimationFrame(frameId);
            timerId = frameId = null;
        }

        function mapHasSize() {
            var s = map.getSize();
            return s.x > 0 && s.y > 0;
        }

        // A route arrives as one command a point, over many frames, and
        // drawing it costs time in proportion to its length; each drawing
        // also costs the view a frame. Its end draws it at once. While it
        // is still coming it is drawn at most every ROUTE_PROGRESS_MS, or
        // every ROUTE_REDRAW_FACTOR times its last drawing took if that is
        // longer, so a route that streams in slowly still shows. It has
        // settled when its end has come or no point has for
        // ROUTE_SETTLE_MS (a route without an end, or one held up): then
        // all of it is drawn and the view fitted to it.
        var ROUTE_PROGRESS_MS = 500;
        var ROUTE_REDRAW_FACTOR = 8;
        var ROUTE_SETTLE_MS = 300;
        var routeFittedCount = 0, routeLastPointAt = -Infinity;
        var routeDrawMs = 0, routeDrawnAt = -Infinity, routeTimerId = null;

        function routeRedrawDue() {
            return routeDrawnAt + Math.max(ROUTE_PROGRESS_MS, ROUTE_REDRAW_FACTOR * routeDrawMs);
        }
        // A flush when the route next needs one: its next drawing, or the
        // moment it settles.
        function scheduleRoute(now) {
            if (routeTimerId !== null)
                clearTimeout(routeTimerId);
            routeTimerId = null;
            var at = routeQueue.length ? routeRedrawDue() : Infinity;
            if (endPoint === null && now < routeLastPointAt + ROUTE_SETTLE_MS)
                at = Math.min(at, routeLastPointAt + ROUTE_SETTLE_MS);
            if (at < Infinity)
                routeTimerId = setTimeout(flush, Math.max(0, at - now));
        }

        // The zoom that shows all of the route, once for each length it
        // settles at: a route held up is fitted, and fitted again when the
        // rest comes. The travelled line, if there is one already, then has
        // the view centred on it. A map without a size (a hidden view) is
        // fitted when it gets one.
        function fitRoute() {
            if (routeDrawn.length <= routeFittedCount || !mapHasSize())
                return;
            routeFittedCount = routeDrawn.length;
            map.fitBounds(L.latLngBounds(routeDrawn), {padding: [24, 24], maxZoom: 16, animate: false});
            if (travelledDrawn.length)
                map.setView(travelledDrawn[travelledDrawn.length - 1], map.getZoom(), {animate: false});
        }
        map.on('resize', function () {
            if (routeFittedCount < routeDrawn.length && routeTimerId === null) {
                fitRoute();
                mirror();
            }
        });

        // All the drawing: the lines are rebuilt and the view moved once
        // for everything received since the last flush. force: draw all now
        // (tests and tools that read the page).
        function flush(force) {
            cancelFlush();
            force = force === true;
            var now = performance.now();
            var settled = force || endPoint !== null || now >= routeLastPointAt + ROUTE_SETTLE_MS;
            if (routeQueue.length && (settled || now >= routeRedrawDue())) {
                for (var i = 0; i < routeQueue.length; i++) {
                    route.push(routeQueue[i]);
                    routeDrawn.push(drawn(routeQueue[i]));
                }
                routeQueue = [];
                // Fitted first, so that the line is projected once, at the
                // zoom it is shown at. A travelled line that comes with it
                // then centres the view at that zoom.
                if (settled)
                    fitRoute();
                routeLine.setLatLngs(routeDrawn);
                routeDrawnAt = performance.now();
                routeDrawMs = routeDrawnAt - now;
            } else if (settled) {
                fitRoute(); // drawn while it came, settled since
            }
            scheduleRoute(now);
            if (travelledQueue.length) {
                for (var j = 0; j < travelledQueue.length; j++) {
                    travelled.push(travelledQueue[j]);
                    travelledDrawn.push(drawn(travelledQueue[j]));
                }
                travelledQueue = [];
                travelledLine.setLatLngs(travelledDrawn);
                place(positionMarker, travelled[travelled.length - 1]);
                map.setView(travelledDrawn[travelledDrawn.length - 1], map.getZoom(), {animate: false});
            }
            mirror();
        }

        function clearAll() {
            cancelFlush();
            if (routeTimerId !== null)
                clearTimeout(routeTimerId);
            routeTimerId = null;
            routeFittedCount = 0;
            routeLastPointAt = -Infinity;
            routeDrawMs = 0;
            routeDrawnAt = -Infinity;
            route = [];
            routeQueue = [];
            routeDrawn = [];
            travelled = [];
            travelledQueue = [];
            travelledDrawn = [];
            routeLine.setLatLngs([]);
            travelledLine.setLatLngs([]);
            startPoint = endPoint = null;
            place(startMarker, null);
            place(endMarker, null);
            place(positionMarker, null);
        }

        // The commands log their text and take finite degrees only; a bad
        // point is skipped, never thrown on, so later commands still run.
        // A long route is thousands of commands: each is kept flat, as
        // given (name, argument count, its two arguments), and written out
        // only when asked for. The log keeps the last LOG_LIMIT commands at
        // least and twice that at most; commandCount counts them all.
        var LOG_STRIDE = 4;
        var LOG_LIMIT = 5000;
        var commandCount = 0;
        function record(name, argc, a, b) {
            commandCount++;
            log.push(name, argc, a, b);
            if (log.length >= 2 * LOG_LIMIT * LOG_STRIDE)
                log.splice(0, log.length - LOG_LIMIT * LOG_STRIDE);
        }
        function logCount() {
            return log.length / LOG_STRIDE;
        }
        function logText(i) {
            var at = i * LOG_STRIDE, args = [log[at + 2], log[at + 3]].slice(0, log[at + 1]);
            return log[at] + '(' + args.join(', ') + ');';
        }
        // Numbers, or texts of numbers; nothing else (Number(null) is 0).
        function degrees(v) {
            return typeof v === 'number' || (typeof v === 'string' && v.trim() !== '') ? Number(v) : NaN;
        }
        function point(name, lat, lon) {
            var la = degrees(lat), lo = degrees(lon);
            if (!isFinite(la) || !isFinite(lo) || Math.abs(la) > 90 || Math.abs(lo) > 180) {
                console.warn('map: ' + name + ' skips the point (' + lat + ', ' + lon + ')');
                return null;
            }
            return [la, lo];
        }

        window.hello = function (lat, lon) {
            record('hello', arguments.length, lat, lon);
            helloCount++;
            mirror();
        };
        window.mapinitialize = function (lat, lon) {
            record('mapinitialize', arguments.length, lat, lon);
            clearAll();
            var p = point('mapinitialize', lat, lon);
            if (p)
                map.setView(drawn(p), map.getZoom(), {animate: false});
            mirror();
        };
        window.setStartPoint = function (lat, lon) {
            record('setStartPoint', arguments.length, lat, lon);
            var p = point('setStartPoint', lat, lon);
            if (!p)
                return;
            // A start begins a new route line, without the last one's end.
            endPoint = null;
            place(endMarker, null);
            routeFittedCount = 0;
            routeLastPointAt = routeDrawnAt = performance.now(); // the first drawing is due from here
            route = [];
            routeDrawn = [];
            routeQueue = [p];
            startPoint = p;
            place(startMarker, p);
            scheduleFlush();
        };
        window.gotoNextPoint = function (lat, lon) {
            record('gotoNextPoint', arguments.length, lat, lon);
            var p = point('gotoNextPoint', lat, lon);
            if (!p)
                return;
            routeQueue.push(p);
            routeLastPointAt = performance.now();
            // A route on its way has a timer of its own; no flush a point.
            if (routeTimerId === null)
                scheduleFlush();
        };
        window.setEndPoint = function (lat, lon) {
            record('setEndPoint', arguments.length, lat, lon);
            var p = point('setEndPoint', lat, lon);
            if (!p)
                return;
            routeQueue.push(p);
            endPoint = p; // the route has ended
            place(endMarker, p);
            // The route is whole: nothing to wait for.
            flush();
        };
        window.setLineNewPoint = function (lat, lon) {
            record('setLineNewPoint', arguments.length, lat, lon);
            var p = point('setLineNewPoint', lat, lon);
            if (!p)
                return;
            travelledQueue.push(p);
            scheduleFlush();
        };
        window.clrRTploy = function () {
            record('clrRTploy', 0);
            clearAll();
            mirror();
        };

        // Another base layer may use another datum: redraw what is kept.
        map.on('baselayerchange', function (e) {
            var center = fromDisplay(map.getCenter());
            base = e.layer;
            routeDrawn = route.map(drawn);
            travelledDrawn = travelled.map(drawn);
            routeLine.setLatLngs(routeDrawn);
            travelledLine.setLatLngs(travelledDrawn);
            place(startMarker, startPoint);
            place(endMarker, endPoint);
            place(positionMarker, travelled.length ? travelled[travelled.length - 1] : null);
            map.setView(drawn(center), map.getZoom(), {animate: false});
            mirror();
        });

        function last(a) {
            return a.length ? [a[a.length - 1].lat, a[a.length - 1].lng] : null;
        }
        function summary() {
            var c = map.getCenter();
            return {
                routeCount: route.length,
                travelledCount: travelled.length,
                pending: routeQueue.length + travelledQueue.length,
                start: startPoint,
                end: endPoint,
                center: fromDisplay(c),
                displayCenter: [c.lat, c.lng],
                zoom: map.getZoom(),
                baseLayer: base.velomarName,
                drawnRouteLast: last(routeDrawn),
                drawnTravelledLast: last(travelledDrawn),
                tilesUnavailable: tilesUnavailable(),
                connected: connected,
                helloCount: helloCount,
                linkAttempts: linkAttempts,
                refused: refused,
                replaced: replaced,
                ignored: ignored,
                commandCount: commandCount,
                logCount: logCount(),
                lastCommand: log.length ? logText(logCount() - 1) : null,
                errors: errors.slice()
            };
        }
        // A copy in the DOM for tools that read the page from outside.
        function mirror() {
            document.body.dataset.state = JSON.stringify(summary());
        }

        window.velomarState = function () {
            var s = summary();
            s.log = [];
            for (var i = 0; i < logCount(); i++)
                s.log.push(logText(i));
            s.routePoints = route.slice();
            s.travelledPoints = travelled.slice();
            return s;
        };
        window.velomarFlush = function () {
            flush(true);
        };
        window.toDisplay = toDisplay;
        window.velomarMap = map;

        // In a browser, the player drives the page over a WebSocket. The page
        // takes from it only the player's own commands, in the very form the
        // player writes them: whoever else holds the port cannot run script
        // here. Numbers as QString::number writes them.
        var NUMBER = '(-?(?:\\d+(?:\\.\\d*)?|\\.\\d+)(?:e[-+]?\\d+)?)';
        var POINT_COMMAND = new RegExp('^(hello|mapinitialize|setStartPoint|gotoNextPoint|' +
            'setEndPoint|setLineNewPoint)\\(' + NUMBER + ', ' + NUMBER + '\\);$');
        var pointCommands = {
            hello: window.hello, mapinitialize: window.mapinitialize,
            setStartPoint: window.setStartPoint, gotoNextPoint: window.gotoNextPoint,
            setEndPoint: window.setEndPoint, setLineNewPoint: window.setLineNewPoint
        };
        var clearCommand = window.clrRTploy;
        function runMessage(text) {
            if (typeof text !== 'string')
                return false;
            if (text === 'clrRTploy();') {
                clearCommand();
                return true;
            }
            var m = POINT_COMMAND.exec(text);
            if (!m)
                return false;
            var lat = Number(m[2]), lon = Number(m[3]);
            if (!isFinite(lat) || !isFinite(lon))
                return false;
            pointCommands[m[1]](lat, lon);
            return true;
        }

        // The URL carries the token the player lets the page in with. The
        // player may start later or restart: try again every 2 s. A player
        // that refuses the token was started anew and opened a page of its
        // own; one that lets a newer page in closes this one: either way
        // this page says so and stops asking.
        var POLICY_VIOLATION = 1008, REPLACED = 4000;
        var token = new URLSearchParams(location.search).get('token');
        var linkNotice = noticeBox('velomar-link-notice', 'Velomar was restarted and follows ' +
            'in a newer tab; this copy of the map is no longer updated');
        var replacedNotice = noticeBox('velomar-link-notice velomar-replaced-notice', 'Velomar follows in a newer ' +
            'copy of this map; this one is no longer updated');
        var noTokenNotice = noticeBox('velomar-link-notice velomar-no-token-notice', 'This copy of the map was not ' +
            'opened by Velomar and does not follow it; Velomar opens its own at start');
        function connect() {
            var ws;
            linkAttempts++;
            try {
                ws = new WebSocket('ws://127.0.0.1:9090/?token=' + encodeURIComponent(token));
            } catch (e) {
                setTimeout(connect, 2000);
                return;
            }
            ws.onopen = function () {
                connected = true;
                mirror();
            };
            ws.onmessage = function (e) {
                var ran = false;
                try {
                    ran = runMessage(e.data);
                } catch (err) {
                    addError(String(err));
                    console.error('map: command failed: ' + err);
                    return;
                }
                if (!ran) {
                    ignored++;
                    mirror();
                }
            };
            ws.onclose = function (e) {
                connected = false;
                if (e.code === POLICY_VIOLATION) {
                    refused = true;
                    linkNotice.hidden = false;
                } else if (e.code === REPLACED) {
                    replaced = true;
                    replacedNotice.hidden = false;
                } else {
                    setTimeout(connect, 2000);
                }
                mirror();
            };
        }
        if (token)
            connect();
        else if (!window.velomarEmbedded)
            noTokenNotice.hidden = false;
        mirror();
    }

    // OpenStreetMap's standard tiles (WGS-84), the street layer of both
    // pages, under the name the page gives it in its layer switch.
    function openStreetMap(name) {
        return {
            name: name,
            tiles: [
                L.tileLayer('https://tile.openstreetmap.org/{z}/{x}/{y}.png', {
                    maxZoom: 19,
                    attribution: '&copy; <a href="https://www.openstreetmap.org/copyright">' +
                        'OpenStreetMap</a> contributors'
                })
            ]
        };
    }

    window.VelomarMap = {start: start, openStreetMap: openStreetMap};
})();
