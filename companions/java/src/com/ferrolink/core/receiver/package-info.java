/**
 * What the native library calls inside the JVM: the {@link com.ferrolink.core.receiver.Receiver}
 * that answers commands, and the {@link com.ferrolink.core.receiver.CommandHandler} interface that
 * users implement to be called by name from any other runtime of the process.
 */
package com.ferrolink.core.receiver;
