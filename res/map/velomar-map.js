// The map pages' shared part: the commands the player sends, drawing batched
// once per frame, the drive of several clips under the playing one, clicks on
// it reported to the player, the tile failure notice and the link to the
// player when the page runs in a browser.
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
        // The stretch marked for export: over the routes, in its own colour.
        var marked = [];
        var markedLine = L.polyline([], {
            className: 'velomar-marked', color: '#ff9100', weight: 10, opacity: 0.6,
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

        // The drive: every clip's route, in a pane under the playing clip's
        // lines, fainter; the clips played before it in the travelled colour,
        // so that the travelled line runs on from the drive's start. Its
        // start and end have markers of their own. A new drive replaces the
        // one drawn once all of its clips have come (or none has for
        // ROUTE_SETTLE_MS), so that the map never shows it half drawn.
        var MAX_DRIVE_CLIPS = 10000, MAX_CLIP_POINTS = 200000;
        map.createPane('velomarDrive').style.zIndex = 350; // under the overlay pane (400)
        var driveTravelledLine = L.polyline([], {
            pane: 'velomarDrive', className: 'velomar-drive-travelled', color: '#ff1744', weight: 5,
            opacity: 0.45, lineCap: 'round', interactive: false
        }).addTo(map);
        var driveRouteLine = L.polyline([], {
            pane: 'velomarDrive', className: 'velomar-drive-route', color: '#2979ff', weight: 4,
            opacity: 0.4, interactive: false
        }).addTo(map);
        function driveMarker(cls, ring) {
            return L.circleMarker(DEFAULT_CENTER, {
                pane: 'velomarDrive', className: cls, radius: 11, color: ring, weight: 4,
                fillColor: '#ffffff', fillOpacity: 1, interactive: false
            });
        }
        var driveStartMarker = driveMarker('velomar-drive-start', '#00c853');
        var driveEndMarker = driveMarker('velomar-drive-end', '#212121');
        // Received: the clips of the newest drive (null until each comes).
        var driveClips = [], driveCount = 0, driveCurrent = -1, driveReceived = 0;
        var driveDirty = false, driveLayoutDirty = false, driveLastAt = -Infinity, driveTimerId = null;
        // Drawn: the clips (WGS-84) and their points in the current datum.
        var shownClips = [], shownDrawn = [], driveStart = null, driveEnd = null;

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
            flushDrive(force, now);
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

        function driveComplete() {
            return driveReceived === driveCount;
        }
        // Which clips are before the playing one, and the drive's ends.
        function layDrive() {
            driveLayoutDirty = false;
            var before = [], rest = [];
            for (var i = 0; i < shownDrawn.length; i++) {
                if (shownDrawn[i].length)
                    (i < driveCurrent ? before : rest).push(shownDrawn[i]);
            }
            driveTravelledLine.setLatLngs(before);
            driveRouteLine.setLatLngs(rest);
            driveStart = driveEnd = null;
            for (var j = 0; j < shownClips.length; j++) {
                var c = shownClips[j];
                if (c.length) {
                    if (!driveStart)
                        driveStart = c[0];
                    driveEnd = c[c.length - 1];
                }
            }
            place(driveStartMarker, driveStart);
            place(driveEndMarker, driveEnd);
        }
        function drawDrive() {
            if (driveTimerId !== null)
                clearTimeout(driveTimerId);
            driveTimerId = null;
            driveDirty = false;
            shownClips = driveClips.map(function (c) {
                return c || [];
            });
            shownDrawn = shownClips.map(function (c) {
                return c.map(drawn);
            });
            layDrive();
            // With no clip playing, the view shows all of the drive; a
            // playing clip's own route decides the view otherwise.
            if (driveCurrent < 0 && driveStart && mapHasSize())
                map.fitBounds(driveRouteLine.getBounds(), {padding: [24, 24], maxZoom: 16, animate: false});
        }
        function flushDrive(force, now) {
            if (driveDirty && (force || driveComplete() || now >= driveLastAt + ROUTE_SETTLE_MS)) {
                drawDrive();
            } else if (driveDirty) {
                if (driveTimerId === null)
                    driveTimerId = setTimeout(function () {
                        driveTimerId = null;
                        flush();
                    }, Math.max(0, driveLastAt + ROUTE_SETTLE_MS - now));
            } else if (driveLayoutDirty) {
                layDrive();
            }
        }

        // The drive stays through the commands of the playing clip's route
        // (mapinitialize, clrRTploy): the next clip of a drive starts on a
        // map that still shows it.
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
        // brief: a long route as its length only (the page's summary is
        // written out after every drawing).
        function logText(i, brief) {
            var at = i * LOG_STRIDE, args = [log[at + 2], log[at + 3]].slice(0, log[at + 1]);
            return log[at] + '(' + args.map(function (a) {
                if (!Array.isArray(a))
                    return a;
                return brief && a.length > 10 ? '[' + a.length + ' points]' : JSON.stringify(a);
            }).join(', ') + ');';
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

        // The drive's commands take whole numbers and finite degrees only,
        // and refuse (with a warning, never a throw) anything else whole.
        function wholeIn(v, low, high) {
            return typeof v === 'number' && Math.floor(v) === v && v >= low && v <= high;
        }
        // [[lat, lon], ...] of numbers in range, or null.
        function routeOf(points) {
            if (!Array.isArray(points) || points.length > MAX_CLIP_POINTS)
                return null;
            var out = new Array(points.length);
            for (var i = 0; i < points.length; i++) {
                var p = points[i];
                if (!Array.isArray(p) || p.length !== 2 || typeof p[0] !== 'number' ||
                    typeof p[1] !== 'number' || !isFinite(p[0]) || !isFinite(p[1]) ||
                    Math.abs(p[0]) > 90 || Math.abs(p[1]) > 180)
                    return null;
                out[i] = [p[0], p[1]];
            }
            return out;
        }
        // A new drive of `clips` clips, `current` the one playing (-1: none);
        // setDrive(0, -1) takes the drive off the map.
        window.setDrive = function (clips, current) {
            record('setDrive', arguments.length, clips, current);
            if (!wholeIn(clips, 0, MAX_DRIVE_CLIPS) || !wholeIn(current, -1, clips - 1)) {
                console.warn('map: setDrive refused (' + clips + ', ' + current + ')');
                return false;
            }
            driveClips = new Array(clips);
            for (var i = 0; i < clips; i++)
                driveClips[i] = null;
            driveCount = clips;
            driveCurrent = current;
            driveReceived = 0;
            driveDirty = true;
            driveLastAt = performance.now();
            scheduleFlush();
            return true;
        };
        // Clip `index`'s route of the drive last begun.
        window.setDriveRoute = function (index, points) {
            record('setDriveRoute', arguments.length, index, points);
            var route = wholeIn(index, 0, driveCount - 1) ? routeOf(points) : null;
            if (!route) {
                console.warn('map: setDriveRoute refused for clip ' + index);
                return false;
            }
            if (driveClips[index] === null)
                driveReceived++;
            driveClips[index] = route;
            driveDirty = true;
            driveLastAt = performance.now();
            scheduleFlush();
            return true;
        };
        // The stretch marked for export, [[lat, lon], ...]; [] takes it off.
        window.setMarkedRoute = function (points) {
            record('setMarkedRoute', arguments.length, Array.isArray(points) ? points.length : points);
            var r = routeOf(points);
            if (!r) {
                console.warn('map: setMarkedRoute refused');
                return false;
            }
            marked = r;
            markedLine.setLatLngs(marked.map(drawn));
            mirror();
            return true;
        };
        // The next clip of the same drive plays: the drive stays drawn.
        window.setDriveCurrent = function (current) {
            record('setDriveCurrent', arguments.length, current);
            if (!wholeIn(current, -1, driveCount - 1)) {
                console.warn('map: setDriveCurrent refused (' + current + ')');
                return false;
            }
            driveCurrent = current;
            driveLayoutDirty = true;
            scheduleFlush();
            return true;
        };

        // Another base layer may use another datum: redraw what is kept.
        map.on('baselayerchange', function (e) {
            var center = fromDisplay(map.getCenter());
            base = e.layer;
            routeDrawn = route.map(drawn);
            travelledDrawn = travelled.map(drawn);
            routeLine.setLatLngs(routeDrawn);
            travelledLine.setLatLngs(travelledDrawn);
            markedLine.setLatLngs(marked.map(drawn));
            place(startMarker, startPoint);
            place(endMarker, endPoint);
            place(positionMarker, travelled.length ? travelled[travelled.length - 1] : null);
            shownDrawn = shownClips.map(function (c) {
                return c.map(drawn);
            });
            layDrive();
            map.setView(drawn(center), map.getZoom(), {animate: false});
            mirror();
        });

        // A click on the drive's route (or, without a drive, the playing
        // clip's) tells the player where: the nearest point of the line,
        // within CLICK_TOLERANCE_PX of the pointer, in WGS-84. The window's
        // own view reads it from the console; the browser copy sends it back
        // over its link. Clicks further from the line say nothing.
        var CLICK_TOLERANCE_PX = 20;
        var clickCount = 0, lastClick = null, link = null;
        function nearestOnLines(at) {
            var best = null;
            function consider(points, shown) {
                var prev = null;
                for (var i = 0; i < shown.length; i++) {
                    var q = map.latLngToContainerPoint(shown[i]);
                    var t = 0, d;
                    if (prev) {
                        var dx = q.x - prev.x, dy = q.y - prev.y, len = dx * dx + dy * dy;
                        t = len > 0 ? ((at.x - prev.x) * dx + (at.y - prev.y) * dy) / len : 0;
                        t = Math.max(0, Math.min(1, t));
                        d = Math.sqrt(Math.pow(prev.x + t * dx - at.x, 2) + Math.pow(prev.y + t * dy - at.y, 2));
                    } else {
                        d = Math.sqrt(Math.pow(q.x - at.x, 2) + Math.pow(q.y - at.y, 2));
                    }
                    if (!best || d < best.px) {
                        // Between the received points, not the drawn ones:
                        // exact at a point, whatever the datum.
                        var a = prev ? points[i - 1] : points[i], b = points[i];
                        best = {px: d, lat: a[0] + t * (b[0] - a[0]), lon: a[1] + t * (b[1] - a[1])};
                    }
                    prev = q;
                }
            }
            for (var c = 0; c < shownClips.length; c++)
                consider(shownClips[c], shownDrawn[c]);
            if (!shownClips.length)
                consider(route, routeDrawn);
            return best;
        }
        map.on('click', function (e) {
            var hit = nearestOnLines(e.containerPoint);
            if (!hit || hit.px > CLICK_TOLERANCE_PX)
                return;
            var text = 'click ' + hit.lat.toFixed(7) + ' ' + hit.lon.toFixed(7);
            clickCount++;
            lastClick = text;
            if (window.velomarEmbedded)
                console.info(text);
            else if (link && link.readyState === WebSocket.OPEN)
                link.send(text);
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
                driveClips: driveCount,
                driveCurrent: driveCurrent,
                driveReceived: driveReceived,
                drivePending: driveDirty || driveLayoutDirty,
                driveDrawnClips: shownClips.length,
                driveDrawnPoints: shownClips.reduce(function (n, c) {
                    return n + c.length;
                }, 0),
                markedPoints: marked.length,
                driveStart: driveStart,
                driveEnd: driveEnd,
                clickCount: clickCount,
                lastClick: lastClick,
                tilesUnavailable: tilesUnavailable(),
                connected: connected,
                helloCount: helloCount,
                linkAttempts: linkAttempts,
                refused: refused,
                replaced: replaced,
                ignored: ignored,
                commandCount: commandCount,
                logCount: logCount(),
                lastCommand: log.length ? logText(logCount() - 1, true) : null,
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
            s.driveClipPoints = shownClips.map(function (c) {
                return c.length;
            });
            return s;
        };
        // The drawn drive's clips, [[lat, lon], ...] each.
        window.velomarDrive = function () {
            return shownClips.slice();
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
        // The drive's commands: whole numbers as the player writes them, a
        // route as a JSON array of [lat,lon] pairs without spaces (which the
        // pattern makes sure JSON.parse takes).
        var WHOLE = '(0|[1-9]\\d{0,4})', CLIP = '(-1|0|[1-9]\\d{0,4})';
        var JSON_NUMBER = '-?(?:0|[1-9]\\d*)(?:\\.\\d+)?(?:e[-+]\\d+)?';
        var PAIR = '\\[' + JSON_NUMBER + ',' + JSON_NUMBER + '\\]';
        var DRIVE_COMMAND = new RegExp('^setDrive\\(' + WHOLE + ', ' + CLIP + '\\);$');
        var DRIVE_CURRENT_COMMAND = new RegExp('^setDriveCurrent\\(' + CLIP + '\\);$');
        var DRIVE_ROUTE_COMMAND = new RegExp('^setDriveRoute\\(' + WHOLE + ', (\\[(?:' + PAIR +
            '(?:,' + PAIR + ')*)?\\])\\);$');
        var driveCommand = window.setDrive, driveRouteCommand = window.setDriveRoute;
        var driveCurrentCommand = window.setDriveCurrent;
        var MARKED_COMMAND = new RegExp('^setMarkedRoute\\((\\[(?:' + PAIR + '(?:,' + PAIR +
            ')*)?\\])\\);$');
        var markedCommand = window.setMarkedRoute;
        function runMessage(text) {
            if (typeof text !== 'string')
                return false;
            if (text === 'clrRTploy();') {
                clearCommand();
                return true;
            }
            var d = MARKED_COMMAND.exec(text);
            if (d)
                return markedCommand(JSON.parse(d[1]));
            d = DRIVE_ROUTE_COMMAND.exec(text);
            if (d)
                return driveRouteCommand(Number(d[1]), JSON.parse(d[2]));
            d = DRIVE_COMMAND.exec(text);
            if (d)
                return driveCommand(Number(d[1]), Number(d[2]));
            d = DRIVE_CURRENT_COMMAND.exec(text);
            if (d)
                return driveCurrentCommand(Number(d[1]));
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
            link = ws;
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
