/**
 * Calls between this Java program and other runtimes: {@link com.ferrolink.Ferrolink} calls out, a
 * {@link com.ferrolink.CommandListener} is called.
 */
package com.ferrolink;
