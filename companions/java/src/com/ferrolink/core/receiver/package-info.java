/**
 * The Java side of calls into this JVM. The native library calls the {@link
 * com.ferrolink.core.receiver.Receiver}, which answers commands. Users implement {@link
 * com.ferrolink.core.receiver.CommandHandler} to be called by name from other runtimes.
 */
package com.ferrolink.core.receiver;
