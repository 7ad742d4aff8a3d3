package com.ferrolink.soak;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;

/**
 * The Java program of the soak: it calls C++ and servers, and is called back. It takes orders from standard
 * input: "rest" pauses the work, "sample" prints the figures, "go" resumes the work, "end" or the end of the
 * input ends the program.
 */
public final class JavaSoak {

    private static final int RESTS_TO_A_LIBRARY_ERROR = 2;

    private interface Piece {
        void run(Payloads payloads) throws InterruptedException;
    }

    private final Gate gate = new Gate();
    private final Tally tally = new Tally();
    private final Work work;

    private JavaSoak(int tcpPort, int tlsPort) {
        work = new Work(tally, tcpPort, tlsPort);
    }

    /** @param arguments the port of the server with the C++ member, and that of the one with the JVM member */
    public static void main(String[] arguments) throws IOException, InterruptedException {
        new JavaSoak(Integer.parseInt(arguments[0]), Integer.parseInt(arguments[1])).run();
    }

    private void run() throws IOException, InterruptedException {
        work.loadAgain(null);
        Piece[] pieces = {work::callOnThisThread, work::callOnThisThread, work::callOnShortLivedThreads,
            work::failOnPurpose, work::nest, work::replaceHandlers, work::replaceListener,
            work::loadAgain, work::callServers, work::callServers};
        List<Thread> workers = new ArrayList<>();
        for (Piece piece : pieces) {
            Payloads payloads = new Payloads(workers.size());
            workers.add(new Thread(() -> repeat(piece, payloads)));
        }
        workers.forEach(Thread::start);
        obey(new BufferedReader(new InputStreamReader(System.in, StandardCharsets.UTF_8)));
        gate.end();
        for (Thread worker : workers) {
            worker.join();
        }
    }

    private void repeat(Piece piece, Payloads payloads) {
        try {
            while (gate.enter()) {
                try {
                    piece.run(payloads);
                } catch (RuntimeException failure) {
                    if (!work.cameBetweenListeners(failure)) {
                        tally.wrong(String.valueOf(failure));
                    }
                } catch (Error failure) {
                    tally.wrong(String.valueOf(failure));
                } finally {
                    gate.leave();
                }
            }
        } catch (InterruptedException ended) {
            tally.wrong("interrupted");
        }
    }

    private void obey(BufferedReader orders) throws IOException, InterruptedException {
        int rests = 0;
        for (String order = orders.readLine(); order != null && !order.equals("end");
                order = orders.readLine()) {
            switch (order) {
                case "rest":
                    rest(++rests);
                    System.out.println("SOAK rests");
                    break;
                case "sample":
                    System.out.println("SOAK {" + tally.json() + ",\"java\":" + Figures.json() + "}");
                    break;
                default:
                    gate.open();
                    break;
            }
        }
    }

    private void rest(int rests) throws InterruptedException {
        gate.close();
        if (rests % RESTS_TO_A_LIBRARY_ERROR == 0) {
            work.failInTheLibrary();
        }
        work.settle();
    }
}
