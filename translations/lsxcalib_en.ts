<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="zh_CN">
<context>
    <name>Backup</name>
    <message>
        <source>备份文件 %1 无效：%2</source>
        <translation>The backup file %1 is not valid: %2</translation>
    </message>
    <message>
        <source>缺少键 %1</source>
        <translation>the key %1 is missing</translation>
    </message>
    <message>
        <source>键 %1 的值 &quot;%2&quot; 应为 %3 到 %4 的整数</source>
        <translation>the value &quot;%2&quot; of the key %1 should be a whole number from %3 to %4</translation>
    </message>
    <message>
        <source>%1 有 %2 列，应为 %3 列</source>
        <translation>%1 has %2 columns, not %3</translation>
    </message>
    <message>
        <source>%1 第 %2 列的值 &quot;%3&quot; 不是 %4 到 %5 之间的数</source>
        <translation>the value &quot;%3&quot; of %1, column %2, is not a number from %4 to %5</translation>
    </message>
    <message>
        <source>无法写入备份文件 %1：%2</source>
        <translation>Cannot write the backup file %1: %2</translation>
    </message>
    <message>
        <source>文件不存在</source>
        <translation>the file does not exist</translation>
    </message>
    <message>
        <source>文件大小 %1 字节，超出任何相机参数的大小</source>
        <translation>the file is %1 bytes, larger than any camera&apos;s parameters</translation>
    </message>
    <message>
        <source>无法读取：%1</source>
        <translation>cannot be read: %1</translation>
    </message>
    <message>
        <source>第 %1 行不是 &quot;[节]&quot; 或 &quot;键=值&quot;</source>
        <translation>line %1 is not &quot;[section]&quot; or &quot;key=value&quot;</translation>
    </message>
    <message>
        <source>第 %1 行：键 %2 重复</source>
        <translation>line %1: the key %2 is repeated</translation>
    </message>
    <message>
        <source>键 Backup/Kind 的值 &quot;%1&quot; 应为 FPN 或 FFC</source>
        <translation>the value &quot;%1&quot; of the key Backup/Kind should be FPN or FFC</translation>
    </message>
    <message>
        <source>键 Backup/Camera 为空</source>
        <translation>the key Backup/Camera is empty</translation>
    </message>
    <message>
        <source>键 Backup/Set 为空</source>
        <translation>the key Backup/Set is empty</translation>
    </message>
    <message>
        <source>键 Backup/Time 的值 &quot;%1&quot; 不是时间</source>
        <translation>the value &quot;%1&quot; of the key Backup/Time is not a time</translation>
    </message>
    <message>
        <source>键 FPN/Bits 的值 1 应为 0 或 2</source>
        <translation>the value 1 of the key FPN/Bits should be 0 or 2</translation>
    </message>
    <message>
        <source>键 FPN/GainMin 的值 &quot;%1&quot; 不是数</source>
        <translation>the value &quot;%1&quot; of the key FPN/GainMin is not a number</translation>
    </message>
    <message>
        <source>行数多于 Gains x Planes = %1</source>
        <translation>more rows than Gains x Planes = %1</translation>
    </message>
    <message>
        <source>通道数多于 Channels = %1</source>
        <translation>more channels than Channels = %1</translation>
    </message>
    <message>
        <source>线扫相机校正工具：写入相机前的参数备份</source>
        <translation>Line-Scan Camera Calibration Tool: a backup of the parameters before a write into the camera</translation>
    </message>
</context>
<context>
    <name>CameraServer</name>
    <message>
        <source>曝光设为 %1 us, 第 %2 张图像采集完成</source>
        <translation>Exposure set to %1 us, frame %2 captured</translation>
    </message>
    <message>
        <source>加载图像与相机尺寸不一致，无法进行对应平场操作。</source>
        <translation>The loaded image&apos;s size differs from the camera&apos;s; the flat-field operation cannot be done.</translation>
    </message>
    <message>
        <source>获取图像信息出错，出错原因：%1-%2.</source>
        <translation>Reading the image information failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>触发出图出错，出错原因：%1-%2.</source>
        <translation>Triggering a frame failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>没有用于平场校正的图像。请加载本地图像或打开相机采集图像。</source>
        <translation>There is no image for the flat-field correction. Load an image from a file or open the camera to capture one.</translation>
    </message>
    <message>
        <source>FFC执行失败，请重试。</source>
        <translation>FFC failed, please try again.</translation>
    </message>
    <message>
        <source>FFC执行中...</source>
        <translation>FFC running...</translation>
    </message>
    <message>
        <source>FFC执行计算完成。

请选择软件模拟查看效果，确认效果较好后写入相机或保存为文件。</source>
        <translation>FFC calculation finished.

Choose the software preview to see the effect; when it looks good, write it into the camera or save it to a file.</translation>
    </message>
    <message>
        <source>当前机型不支持图像FFC。</source>
        <translation>This camera model does not support image FFC.</translation>
    </message>
    <message>
        <source>使能软触发出错，错误原因：%1-%2.</source>
        <translation>Switching the software trigger on failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>关闭FFC使能出错，错误原因：%1-%2.</source>
        <translation>Switching FFC off failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>读取DOffset出错，错误原因：%1-%2.</source>
        <translation>Reading the DOffset failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>启动视频流出错，错误原因：%1-%2.</source>
        <translation>Starting the stream failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>不支持的图像格式，仅支持 FORMAT_MONO &amp; FORMAT_BGR24 &amp; FORMAT_RGB24.</source>
        <translation>Unsupported image format; only FORMAT_MONO &amp; FORMAT_BGR24 &amp; FORMAT_RGB24 are supported.</translation>
    </message>
    <message>
        <source>FFC参数写入失败，请重试。</source>
        <translation>Writing the FFC parameters failed, please try again.</translation>
    </message>
    <message>
        <source>没有执行FFC校正功能，请先执行FFC校正。</source>
        <translation>FFC has not been run; run the flat-field correction first.</translation>
    </message>
    <message>
        <source>执行FFC时的ROI与当前ROI不一致，请重试。</source>
        <translation>The ROI of the FFC run differs from the present ROI, please try again.</translation>
    </message>
    <message>
        <source>FFC参数中有无效数值，无法写入相机。</source>
        <translation>The FFC parameters hold invalid values and cannot be written into the camera.</translation>
    </message>
    <message>
        <source>USER分辨率下获取属性失败，失败原因：%1-%2.</source>
        <translation>Reading the properties in the USER resolution failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>FFC参数写入失败，失败原因：%1-%2.</source>
        <translation>Writing the FFC parameters failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>FFC参数成功写入</source>
        <translation>FFC parameters written</translation>
    </message>
    <message>
        <source>
切换Disable失败失败，失败原因：%1-%2。请手动重试。</source>
        <translation>
Switching to Disable failed. Cause: %1-%2. Please try again by hand.</translation>
    </message>
    <message>
        <source>
选择FFC参数集失败，失败原因：%1-%2。请手动重试。</source>
        <translation>
Selecting the FFC parameter set failed. Cause: %1-%2. Please try again by hand.</translation>
    </message>
    <message>
        <source>
FFC参数组设为%1.</source>
        <translation>
FFC parameter set set to %1.</translation>
    </message>
    <message>
        <source>FFC使能出错，错误原因：%1-%2.</source>
        <translation>Switching FFC on failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>
FFC使能成功。</source>
        <translation>
FFC switched on.</translation>
    </message>
    <message>
        <source>当前没有FFC参数可供读取。</source>
        <translation>There are no FFC parameters to read.</translation>
    </message>
    <message>
        <source>LSC执行失败，请重试。</source>
        <translation>LSC failed, please try again.</translation>
    </message>
    <message>
        <source>LSC参数写入失败，请重试。</source>
        <translation>Writing the LSC parameters failed, please try again.</translation>
    </message>
    <message>
        <source>LSC执行中...</source>
        <translation>LSC running...</translation>
    </message>
    <message>
        <source>关闭LSC使能出错，错误原因：%1-%2.</source>
        <translation>Switching LSC off failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>没有用于镜头校正的图像。请打开相机采集图像。</source>
        <translation>There is no image for the lens shading correction. Open the camera to capture one.</translation>
    </message>
    <message>
        <source>LSC获取ROI失败，失败原因：%1-%2.</source>
        <translation>LSC could not read the ROI. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>LSC-获取到Sensor最大宽度 : %1</source>
        <translation>LSC: the sensor&apos;s largest width is %1</translation>
    </message>
    <message>
        <source>LSC图像宽度%1与ROI宽度%2不符，无法拟合。</source>
        <translation>The LSC image width %1 differs from the ROI width %2; no fit is possible.</translation>
    </message>
    <message>
        <source>LSC拟合失败：第%1通道的多项式无法求解，请检查图像亮度或缩小ROI后重试。</source>
        <translation>The LSC fit failed: the polynomial of channel %1 has no solution. Check the image&apos;s brightness or make the ROI smaller, then try again.</translation>
    </message>
    <message>
        <source>LSC参数计算完成。

请选择软件模拟查看效果，确认效果较好后写入相机或保存为文件。</source>
        <translation>LSC parameters calculated.

Choose the software preview to see the effect; when it looks good, write them into the camera or save them to a file.</translation>
    </message>
    <message>
        <source>没有执行LSC校正功能，请先执行LSC校正。</source>
        <translation>LSC has not been run; run the lens shading correction first.</translation>
    </message>
    <message>
        <source>LSC参数中有无效数值，无法写入相机。</source>
        <translation>The LSC parameters hold invalid values and cannot be written into the camera.</translation>
    </message>
    <message>
        <source>LSC参数写入失败，失败原因：%1-%2.</source>
        <translation>Writing the LSC parameters failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>设置LSC参数索引失败，失败原因：%1-%2.</source>
        <translation>Setting the LSC parameter index failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>LSC参数更新到FLASH失败，失败原因：%1-%2.</source>
        <translation>Storing the LSC parameters in flash memory failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>LSC参数成功写入</source>
        <translation>LSC parameters written</translation>
    </message>
    <message>
        <source>
切换Disable失败，失败原因：%1-%2.请手动切换。</source>
        <translation>
Switching to Disable failed. Cause: %1-%2. Please switch by hand.</translation>
    </message>
    <message>
        <source>
LSC参数组设为%1.</source>
        <translation>
LSC parameter set set to %1.</translation>
    </message>
    <message>
        <source>
设为选中的LSC参数组失败，失败原因：%1-%2.请手动选择写入的参数组-%3</source>
        <translation>
Selecting the chosen LSC parameter set failed. Cause: %1-%2. Please select the written parameter set by hand: %3</translation>
    </message>
    <message>
        <source>
LSC使能成功。</source>
        <translation>
LSC switched on.</translation>
    </message>
    <message>
        <source>当前的参数组</source>
        <translation>the present parameter set</translation>
    </message>
    <message>
        <source>参数组 %1 </source>
        <translation>parameter set %1</translation>
    </message>
    <message>
        <source>相机的镜头校正（LSC）参数组不能读回</source>
        <translation>the camera&apos;s lens shading correction (LSC) parameter sets cannot be read back</translation>
    </message>
    <message>
        <source>此相机的逐像素FPN数据不能读回</source>
        <translation>this camera&apos;s per-pixel FPN data cannot be read back</translation>
    </message>
    <message>
        <source>多行传感器的FPN数据不能逐行读回</source>
        <translation>the FPN data of a multi-line sensor cannot be read back line by line</translation>
    </message>
    <message>
        <source>多级K的出厂参数组的K不能读回</source>
        <translation>the K of a factory set with multi-level K cannot be read back</translation>
    </message>
    <message>
        <source>读取相机当前的FPN参数组出错</source>
        <translation>reading the camera&apos;s present FPN parameter set failed</translation>
    </message>
    <message>
        <source>不支持的图像格式</source>
        <translation>unsupported image format</translation>
    </message>
    <message>
        <source>相机不能读回%1参数（%2-%3）</source>
        <translation>the camera cannot read back %1 parameters (%2-%3)</translation>
    </message>
    <message>
        <source>没有连接上相机</source>
        <translation>no camera connected</translation>
    </message>
    <message>
        <source>写入前读取相机参数组 %1 出错，错误原因：%2-%3。为免丢失原有参数，未写入相机。</source>
        <translation>Reading the camera&apos;s parameter set %1 before the write failed. Cause: %2-%3. Nothing was written into the camera, so that the present parameters are not lost.</translation>
    </message>
    <message>
        <source>写入前无法备份相机%1：%2。写入后不能恢复原有参数。</source>
        <translation>The camera&apos;s %1 cannot be backed up before the write: %2. The present parameters cannot be restored after the write.</translation>
    </message>
    <message>
        <source>无法创建备份文件夹 %1</source>
        <translation>cannot create the backup folder %1</translation>
    </message>
    <message>
        <source>。为免丢失原有参数，未写入相机。</source>
        <translation>. Nothing was written into the camera, so that the present parameters are not lost.</translation>
    </message>
    <message>
        <source>写入前已将相机参数组 %1 备份到 %2</source>
        <translation>Before the write, the camera&apos;s parameter set %1 was backed up to %2</translation>
    </message>
    <message>
        <source>相机%1现在是新的暗场参数与原有明场参数的混合，不能使用：请重新写入</source>
        <translation>The camera&apos;s %1 now mixes the new dark-field parameters with the old bright-field parameters and cannot be used: write again</translation>
    </message>
    <message>
        <source>写入前没有备份，无法恢复。</source>
        <translation>There is no backup from before the write; nothing can be restored. </translation>
    </message>
    <message>
        <source>。</source>
        <translation>.</translation>
    </message>
    <message>
        <source>已从备份 %1 写回写入前的参数组 %2，相机中的参数与写入前相同。</source>
        <translation>The parameter set %2 from before the write was written back from the backup %1; the camera holds the same parameters as before the write.</translation>
    </message>
    <message>
        <source>从备份写回写入前的参数也失败，失败原因：%1-%2。</source>
        <translation>Writing the parameters from before the write back from the backup failed too. Cause: %1-%2. </translation>
    </message>
    <message>
        <source>，或用“恢复写入前参数”写回备份 %1。</source>
        <translation>, or write back the backup %1 with &quot;Restore the parameters from before the write&quot;.</translation>
    </message>
    <message>
        <source>写回备份失败，请重试。</source>
        <translation>Writing back the backup failed, please try again.</translation>
    </message>
    <message>
        <source>。未写入相机。</source>
        <translation>. Nothing written into the camera.</translation>
    </message>
    <message>
        <source>没有连接上相机。</source>
        <translation>No camera connected.</translation>
    </message>
    <message>
        <source>备份来自相机 %1（序列号 %2），不是当前的相机 %3（序列号 %4）。未写入相机。</source>
        <translation>The backup comes from the camera %1 (serial number %2), not the present camera %3 (serial number %4). Nothing written into the camera.</translation>
    </message>
    <message>
        <source>备份的宽度 %1 列、%2 个颜色平面与相机当前的 %3 列、%4 个颜色平面不符。未写入相机。</source>
        <translation>The backup&apos;s width of %1 columns and %2 colour planes differs from the camera&apos;s present %3 columns and %4 colour planes. Nothing written into the camera.</translation>
    </message>
    <message>
        <source>没有写入Factory参数权限。</source>
        <translation>No permission to write the factory set.</translation>
    </message>
    <message>
        <source>写回备份 %1 到相机参数组 %2 ...</source>
        <translation>Writing the backup %1 back into the camera&apos;s parameter set %2 ...</translation>
    </message>
    <message>
        <source>写回备份失败，失败原因：%1-%2.</source>
        <translation>Writing back the backup failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>
已将备份 %1 写回相机参数组 %2。</source>
        <translation>
The backup %1 was written back into the camera&apos;s parameter set %2.</translation>
    </message>
    <message>
        <source>相机打开时的状态没能恢复</source>
        <translation>the camera&apos;s state at opening could not be restored</translation>
    </message>
    <message>
        <source>%1出错（%2-%3）</source>
        <translation>%1 failed (%2-%3)</translation>
    </message>
    <message>
        <source>保持相机内部FPN使能</source>
        <translation>keeping the camera&apos;s FPN switched on</translation>
    </message>
    <message>
        <source>保持FPN参数组 %1</source>
        <translation>keeping the FPN parameter set %1</translation>
    </message>
    <message>
        <source>保持DOffset %1</source>
        <translation>keeping DOffset %1</translation>
    </message>
    <message>
        <source>保持FFC参数组 %1</source>
        <translation>keeping the FFC parameter set %1</translation>
    </message>
    <message>
        <source>保持LSC参数组 %1</source>
        <translation>keeping the LSC parameter set %1</translation>
    </message>
    <message>
        <source>没有可保存的FPN参数，请先执行校正过程。</source>
        <translation>There are no FPN parameters to save; run the correction first.</translation>
    </message>
    <message>
        <source>文件属于相机 &quot;%1&quot;，而当前相机是 &quot;%2&quot;。</source>
        <translation>The file belongs to the camera &quot;%1&quot;, but the present camera is &quot;%2&quot;.</translation>
    </message>
    <message>
        <source>相机不接受文件的图像格式（Head/SourceFormat %1，Head/TargetFormat %2）：%3-%4。</source>
        <translation>The camera does not accept the file&apos;s image format (Head/SourceFormat %1, Head/TargetFormat %2): %3-%4.</translation>
    </message>
    <message>
        <source>相机不接受文件的区域 X = %1、宽 %2 列（相机的区域为 X = %3、宽 %4 列）%5。</source>
        <translation>The camera does not accept the file&apos;s region X = %1, %2 columns wide (the camera&apos;s region is X = %3, %4 columns wide)%5.</translation>
    </message>
    <message>
        <source>：%1-%2</source>
        <translation>: %1-%2</translation>
    </message>
    <message>
        <source>FPN参数写入失败，失败原因：%1-%2.</source>
        <translation>Writing the FPN parameters failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>FPN参数成功写入</source>
        <translation>FPN parameters written</translation>
    </message>
    <message>
        <source>参数为空，写入失败</source>
        <translation>The parameters are empty; the write failed</translation>
    </message>
    <message>
        <source>获取FPN校正范围出错，错误原因：%1-%2</source>
        <translation>Reading the FPN correction range failed. Cause: %1-%2</translation>
    </message>
    <message>
        <source>明暗场参数不匹配，写入参数失败.</source>
        <translation>The dark-field and bright-field parameters do not match; the write failed.</translation>
    </message>
    <message>
        <source>
使能相机内部FPN失败，失败原因：%1-%2.请手动打开相机内部FPN使能。</source>
        <translation>
Switching the camera&apos;s FPN on failed. Cause: %1-%2. Please switch the camera&apos;s FPN on by hand.</translation>
    </message>
    <message>
        <source>
已使能相机内部FPN，点击确定查看效果。</source>
        <translation>
The camera&apos;s FPN is switched on, click OK to see the effect.</translation>
    </message>
    <message>
        <source>未执行校正过程</source>
        <translation>the correction has not been run</translation>
    </message>
    <message>
        <source>FPN暗场参数写入失败，失败原因：%1-%2.</source>
        <translation>Writing the FPN dark-field parameters failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>FPN明场参数写入失败，失败原因：%1-%2.</source>
        <translation>Writing the FPN bright-field parameters failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>FPN参数不匹配</source>
        <translation>the FPN parameters do not match</translation>
    </message>
    <message>
        <source>分辨率模式不匹配</source>
        <translation>the resolution mode does not match</translation>
    </message>
    <message>
        <source>参数文件 %1 无法写入，本次修改的设置将不会被保存。</source>
        <translation>The parameter file %1 cannot be written; the settings changed now will not be saved.</translation>
    </message>
    <message>
        <source>相机仍被上一次未能关闭的连接占用（关闭出错：%1-%2）。请重新插拔相机或重启程序后再连接。</source>
        <translation>The camera is still held by the last connection, which could not be closed (close error: %1-%2). Unplug and replug the camera or restart the program, then connect again.</translation>
    </message>
    <message>
        <source>无法备份相机当前状态（%1-%2），断开连接时将无法恢复相机原有设置。</source>
        <translation>The camera&apos;s current state cannot be backed up (%1-%2); its original settings cannot be restored at disconnect.</translation>
    </message>
    <message>
        <source>相机配置文件 %1 加载失败，错误原因：%2-%3。相机保持打开时的设置。</source>
        <translation>The camera configuration file %1 could not be loaded. Cause: %2-%3. The camera keeps the settings it had when opened.</translation>
    </message>
    <message>
        <source>相机配置文件 %1 不存在（设置 %2）。相机保持打开时的设置。</source>
        <translation>The camera configuration file %1 does not exist (setting %2). The camera keeps the settings it had when opened.</translation>
    </message>
    <message>
        <source>读取工厂参数成功 ：</source>
        <translation>Factory parameters read: </translation>
    </message>
    <message>
        <source>相机报告的传感器行数 %1 不合理（应为 1 到 %2），按单行传感器处理。</source>
        <translation>The camera reports %1 sensor lines, which is not plausible (1 to %2 expected); it is treated as a single-line sensor.</translation>
    </message>
    <message>
        <source>关闭相机 %1 出错，错误原因：%2-%3。连接已释放，再次连接时会重新关闭它。</source>
        <translation>Closing camera %1 failed. Cause: %2-%3. The connection has been released; the next connect closes it again.</translation>
    </message>
    <message>
        <source>%1相机已 %2 秒没有送出图像（超时 %3 次），停止等待。请检查相机的连接、触发方式与光路。</source>
        <translation>%1The camera has sent no image for %2 s (%3 time-outs); waiting stopped. Check the camera&apos;s connection, trigger mode and light path.</translation>
    </message>
    <message>
        <source>%1等待相机图像：已超时 %2 次，已等待 %3 秒。</source>
        <translation>%1Waiting for the camera&apos;s image: %2 time-outs, %3 s waited.</translation>
    </message>
    <message>
        <source>DOffset设置出错，错误原因：%1-%2.</source>
        <translation>Setting the DOffset failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>检测DOffset-DOffset为%1：最小列均值%2 DN10，最大列均值%3 DN10.</source>
        <translation>DOffset detection: DOffset %1: smallest column mean %2 DN10, largest column mean %3 DN10.</translation>
    </message>
    <message>
        <source>检测DOffset出错：曝光时间 %1 us 下%2的暗电平过高，任何DOffset都无法同时使最暗列高于 %3 DN10、最亮列低于限制值 %4 DN10。这些列的暗电流随曝光时间增长，请缩短曝光时间后重试。</source>
        <translation>DOffset detection failed: at an exposure time of %1 us the dark level of %2 is too high; no DOffset keeps the darkest column above %3 DN10 and the brightest column below the limit %4 DN10 at once. The dark current of these columns grows with the exposure time; shorten the exposure time and try again.</translation>
    </message>
    <message>
        <source>%1第 %2 列（%3 DN10）</source>
        <translation>%1column %2 (%3 DN10)</translation>
    </message>
    <message>
        <source>、</source>
        <translation>, </translation>
    </message>
    <message>
        <source>等 %1 列</source>
        <translation> and others, %1 columns in all</translation>
    </message>
    <message>
        <source>当前DOffset为：%1.</source>
        <translation>Present DOffset: %1.</translation>
    </message>
    <message>
        <source>DOffset固定为0：相机没有黑电平功能（BlackLevel）。</source>
        <translation>DOffset fixed at 0: the camera has no black level feature (BlackLevel).</translation>
    </message>
    <message>
        <source>DOffset设置为：%1.</source>
        <translation>DOffset set to: %1.</translation>
    </message>
    <message>
        <source>检测DOffset出错，环境亮度太高，请在暗场下执行暗场校正。</source>
        <translation>DOffset detection failed: the surroundings are too bright. Run the dark-field correction in the dark.</translation>
    </message>
    <message>
        <source>检测DOffset出错，使用最大DOffset也无法满足条件，请手动输入数值重试。</source>
        <translation>DOffset detection failed: even the largest DOffset does not meet the conditions. Enter a value by hand and try again.</translation>
    </message>
    <message>
        <source>光照太强，最小曝光时间下也无法达到预设亮度。请调低光照强度，或增加预设亮度后重试</source>
        <translation>The light is too strong: even the shortest exposure time does not reach the preset brightness. Lower the light level, or raise the preset brightness, then try again</translation>
    </message>
    <message>
        <source>曝光范围检测出错，请重试。</source>
        <translation>Finding the exposure range failed, please try again.</translation>
    </message>
    <message>
        <source>曝光范围取[%1, %2]，曝光间隔取 %3.</source>
        <translation>Exposure range [%1, %2], exposure step %3.</translation>
    </message>
    <message>
        <source>曝光范围内图像采集失败.</source>
        <translation>Capturing images over the exposure range failed.</translation>
    </message>
    <message>
        <source>曝光范围内图像采集成功，点击确认显示统计图。</source>
        <translation>Images captured over the exposure range, click OK to show the statistics chart.</translation>
    </message>
    <message>
        <source>曝光测试执行失败，请重试。</source>
        <translation>The exposure test failed, please try again.</translation>
    </message>
    <message>
        <source>正在关闭色彩、翻转等相关设置...
可在操作结束后恢复。</source>
        <translation>Switching off colour, flip and similar settings...
They can be restored when the operation is over.</translation>
    </message>
    <message>
        <source>关闭FPN功能出错，错误原因：%1-%2.</source>
        <translation>Switching FPN off failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>获取平场使能参数出错，错误原因：%1-%2.</source>
        <translation>Reading the flat-field switch failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>关闭平场使能出错，错误原因：%1-%2.</source>
        <translation>Switching the flat field off failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>校正验证-</source>
        <translation>Calibration verification: </translation>
    </message>
    <message>
        <source>校正验证-采集图像失败，错误原因：%1-%2.</source>
        <translation>Calibration verification: capturing an image failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>校正验证-不支持的图像格式，当前仅支持 FORMAT_MONO &amp; FORMAT_BGR24 &amp; FORMAT_RGB24 &amp; FORMAT_BGR32 &amp; FORMAT_RGB32.</source>
        <translation>Calibration verification: unsupported image format; only FORMAT_MONO &amp; FORMAT_BGR24 &amp; FORMAT_RGB24 &amp; FORMAT_BGR32 &amp; FORMAT_RGB32 are supported.</translation>
    </message>
    <message>
        <source>校正验证-采集过程中图像尺寸发生变化，请重试。</source>
        <translation>Calibration verification: the image size changed during the capture, please try again.</translation>
    </message>
    <message>
        <source>校正验证-设置曝光时间 %1 us 出错，错误原因：%2-%3.</source>
        <translation>Calibration verification: setting the exposure time %1 us failed. Cause: %2-%3.</translation>
    </message>
    <message>
        <source>校正验证-设置黑电平 %1 出错，错误原因：%2-%3.</source>
        <translation>Calibration verification: setting the black level %1 failed. Cause: %2-%3.</translation>
    </message>
    <message>
        <source>校正验证-明场过暗：曝光时间 %1 us 时亮度最高的平面只有满量程的 %2%，请确认镜头盖已取下、光源已打开后重试。</source>
        <translation>Calibration verification: the bright field is too dark: at an exposure time of %1 us the brightest plane reaches only %2% of full scale. Make sure the lens cap is off and the light source is on, then try again.</translation>
    </message>
    <message>
        <source>校正验证-无法达到 %1% 饱和：约需曝光时间 %2 us，超出相机的范围 %3 – %4 us，请调整光源亮度后重试。</source>
        <translation>Calibration verification: %1% saturation cannot be reached: it needs an exposure time of about %2 us, outside the camera&apos;s range %3 – %4 us. Adjust the light source&apos;s brightness and try again.</translation>
    </message>
    <message>
        <source>校正验证-曝光时间调节 %1 次后仍未达到 %2% 饱和（最后为满量程的 %3%），请检查光源是否稳定后重试。</source>
        <translation>Calibration verification: %2% saturation not reached after %1 exposure time adjustments (last %3% of full scale). Check that the light source is steady, then try again.</translation>
    </message>
    <message>
        <source>明场校正-明场校正执行失败</source>
        <translation>Bright-field correction: the bright-field correction failed</translation>
    </message>
    <message>
        <source>明场校正-明场校正执行完成</source>
        <translation>Bright-field correction: the bright-field correction is finished</translation>
    </message>
    <message>
        <source>明场校正-无法读取暗场参数，请先执行暗场校正。</source>
        <translation>Bright-field correction: the dark-field parameters cannot be read; run the dark-field correction first.</translation>
    </message>
    <message>
        <source>明场校正-%1对光无响应（明场均值不高于暗场均值），K 取限值 %2，这些列为缺陷列。</source>
        <translation>Bright-field correction: %1 do not respond to light (bright-field mean not above the dark-field mean); K is set to the limit %2 and these columns are defect columns.</translation>
    </message>
    <message>
        <source>明场校正-曝光时间无法恢复为 %1 us（错误原因：%2-%3），当前为 %4 us。</source>
        <translation>Bright-field correction: the exposure time cannot be restored to %1 us (cause: %2-%3); it is now %4 us.</translation>
    </message>
    <message>
        <source>明场校正-</source>
        <translation>Bright-field correction: </translation>
    </message>
    <message>
        <source>明场校正-增益范围 : [%1, %2]</source>
        <translation>Bright-field correction: gain range: [%1, %2]</translation>
    </message>
    <message>
        <source>明场校正-像素范围 : [%1, %2]</source>
        <translation>Bright-field correction: pixel range: [%1, %2]</translation>
    </message>
    <message>
        <source>明场校正-未进行暗场校正，尝试读取相机内部暗场参数...</source>
        <translation>Bright-field correction: no dark-field correction has been run; trying to read the camera&apos;s own dark-field parameters...</translation>
    </message>
    <message>
        <source>明场校正-使能软触发出错，错误原因：%1-%2.</source>
        <translation>Bright-field correction: switching the software trigger on failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>
明场校正-增益设为 %1</source>
        <translation>
Bright-field correction: gain set to %1</translation>
    </message>
    <message>
        <source>明场校正-曝光范围自动检测中</source>
        <translation>Bright-field correction: finding the exposure range</translation>
    </message>
    <message>
        <source>明场校正-曝光范围检测失败</source>
        <translation>Bright-field correction: finding the exposure range failed</translation>
    </message>
    <message>
        <source>明场校正-曝光范围检测完成。</source>
        <translation>Bright-field correction: exposure range found.</translation>
    </message>
    <message>
        <source>明场校正-开始采图...</source>
        <translation>Bright-field correction: starting the capture...</translation>
    </message>
    <message>
        <source>明场校正-明场校正图像采集失败</source>
        <translation>Bright-field correction: capturing the bright-field images failed</translation>
    </message>
    <message>
        <source>明场校正-明场校正图像采集完成</source>
        <translation>Bright-field correction: bright-field images captured</translation>
    </message>
    <message>
        <source>明场校正-开始执行明场校正...</source>
        <translation>Bright-field correction: starting the bright-field correction...</translation>
    </message>
    <message>
        <source>明场校正-增益为 %1 时明场校正执行完成</source>
        <translation>Bright-field correction: the bright-field correction at gain %1 is finished</translation>
    </message>
    <message>
        <source>明场校正-不支持的目标图像格式，无法继续。</source>
        <translation>Bright-field correction: unsupported target image format; cannot go on.</translation>
    </message>
    <message>
        <source>明场校正-相机不支持读取暗场参数，将使用程序中的暗场参数进行FPN校正。</source>
        <translation>Bright-field correction: the camera cannot read back its dark-field parameters; the program&apos;s dark-field parameters are used for the FPN correction.</translation>
    </message>
    <message>
        <source>明场校正-读取暗场参数出错，错误原因：%1-%2.</source>
        <translation>Bright-field correction: reading the dark-field parameters failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>明场校正-相机内部暗场DOffset = %1</source>
        <translation>Bright-field correction: the camera&apos;s own dark-field DOffset = %1</translation>
    </message>
    <message>
        <source>明场校正-读取暗场参数完成，将使用相机内部暗场参数进行FPN校正。</source>
        <translation>Bright-field correction: dark-field parameters read; the camera&apos;s own dark-field parameters are used for the FPN correction.</translation>
    </message>
    <message>
        <source>%1 第 %2 列</source>
        <translation>%1 columns %2</translation>
    </message>
    <message>
        <source>明场校正开始</source>
        <translation>Bright-field correction started</translation>
    </message>
    <message>
        <source>明场校正-启动视频流出错，错误原因：%1-%2.</source>
        <translation>Bright-field correction: starting the stream failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>明场校正-明场校正图像采集失败，错误原因：%1-%2.</source>
        <translation>Bright-field correction: capturing the bright-field images failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>暗场校正-暗场校正执行失败，请重试。</source>
        <translation>Dark-field correction: the dark-field correction failed, please try again.</translation>
    </message>
    <message>
        <source>暗场校正-暗场校正执行完成。</source>
        <translation>Dark-field correction: the dark-field correction is finished.</translation>
    </message>
    <message>
        <source>暗场校正-启动视频流出错，错误原因：%1-%2.</source>
        <translation>Dark-field correction: starting the stream failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>暗场校正-暗场亮度过高，超过限制值%1，无法继续执行暗场校正。</source>
        <translation>Dark-field correction: the dark field is too bright, above the limit %1; the dark-field correction cannot go on.</translation>
    </message>
    <message>
        <source>暗场校正-最小列均值为%1，最大列均值为%2.</source>
        <translation>Dark-field correction: smallest column mean %1, largest column mean %2.</translation>
    </message>
    <message>
        <source>暗场校正-%1 有 %2% 的像素为 0（最多允许 1%）：暗电平被截断，无法测得暗场均值。DOffset 为 %3，曝光时间 %4 us；请提高DOffset（或勾选自动检测DOffset）后重试。</source>
        <translation>Dark-field correction: %1 has %2% of its pixels at 0 (at most 1% allowed): the dark level is clipped and the dark-field mean cannot be measured. DOffset %3, exposure time %4 us; raise the DOffset (or tick the automatic DOffset detection) and try again.</translation>
    </message>
    <message>
        <source>暗场校正-暗电流：曝光时间 %1 us 与 %2 us 的暗场之差，最大 %3 DN10/ms（%4 第 %5 列）。</source>
        <translation>Dark-field correction: dark current: the difference of the dark fields at exposure times %1 us and %2 us, at most %3 DN10/ms (%4 column %5).</translation>
    </message>
    <message>
        <source>暗场校正-%1，未测量暗电流：明场校正将按工作曝光时间的暗场计算。</source>
        <translation>Dark-field correction: %1; the dark current is not measured: the bright-field correction will use the dark field at the working exposure time.</translation>
    </message>
    <message>
        <source>暗场校正-</source>
        <translation>Dark-field correction: </translation>
    </message>
    <message>
        <source>暗场校正-增益范围 : [%1, %2]</source>
        <translation>Dark-field correction: gain range: [%1, %2]</translation>
    </message>
    <message>
        <source>暗场校正-使能软触发出错，错误原因：%1-%2.</source>
        <translation>Dark-field correction: switching the software trigger on failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>暗场校正-增益设为 %1.</source>
        <translation>Dark-field correction: gain set to %1.</translation>
    </message>
    <message>
        <source>暗场校正-设置增益出错，错误原因：%1-%2.</source>
        <translation>Dark-field correction: setting the gain failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>暗场校正-设置ROI出错.</source>
        <translation>Dark-field correction: setting the ROI failed.</translation>
    </message>
    <message>
        <source>暗场校正-不支持的图像格式，当前仅支持 FORMAT_MONO &amp; FORMAT_BGR24 &amp; FORMAT_RGB24.</source>
        <translation>Dark-field correction: unsupported image format; only FORMAT_MONO &amp; FORMAT_BGR24 &amp; FORMAT_RGB24 are supported.</translation>
    </message>
    <message>
        <source>暗场校正-抓图完成.</source>
        <translation>Dark-field correction: frames captured.</translation>
    </message>
    <message>
        <source>暗场校正-增益为 %1 暗场校正完成.
</source>
        <translation>Dark-field correction: the dark-field correction at gain %1 is finished.
</translation>
    </message>
    <message>
        <source>相机的曝光时间范围不足以测量暗电流</source>
        <translation>the camera&apos;s exposure time range is too small to measure the dark current</translation>
    </message>
    <message>
        <source>无法设置曝光时间 %1 us</source>
        <translation>the exposure time %1 us cannot be set</translation>
    </message>
    <message>
        <source>第二次暗场的图像格式与第一次不同</source>
        <translation>the second dark field&apos;s image format differs from the first&apos;s</translation>
    </message>
    <message>
        <source>第二次暗场的图像尺寸与第一次不同</source>
        <translation>the second dark field&apos;s image size differs from the first&apos;s</translation>
    </message>
    <message>
        <source>多数列的暗场随曝光时间增长（中位 %1 DN10/ms），像是有光照到传感器</source>
        <translation>the dark field of most columns grows with the exposure time (median %1 DN10/ms), as if light reached the sensor</translation>
    </message>
    <message>
        <source>暗场校正-TVK317.</source>
        <translation>Dark-field correction: TVK317.</translation>
    </message>
    <message>
        <source>
关闭相机内部FPN失败，失败原因：%1-%2.请手动关闭相机内部FPN使能。</source>
        <translation>
Switching the camera&apos;s own FPN off failed. Cause: %1-%2. Please switch the camera&apos;s FPN off by hand.</translation>
    </message>
    <message>
        <source>
已关闭相机内部FPN。</source>
        <translation>
The camera&apos;s own FPN is switched off.</translation>
    </message>
    <message>
        <source>
已启动视频流。</source>
        <translation>
Stream started.</translation>
    </message>
    <message>
        <source>暗场校正-不支持的图像格式，当前仅支持FORMAT_MONO.</source>
        <translation>Dark-field correction: unsupported image format; only FORMAT_MONO is supported.</translation>
    </message>
    <message>
        <source>曝光时间由暗场校正时的 %1 us 改为 %2 us，热像素列的暗电平将变化 %3 DN10（超过 %4 DN10）：暗场数据只适用于暗场校正时的曝光时间，请在新的曝光时间下重新执行暗场校正（再执行明场校正）。</source>
        <translation>The exposure time changed from %1 us at the dark-field correction to %2 us; the dark level of hot-pixel columns will change by %3 DN10 (more than %4 DN10): dark-field data only suit the exposure time of the dark-field correction. Run the dark-field correction again at the new exposure time (and then the bright-field correction).</translation>
    </message>
    <message>
        <source>无法删除旧的暗电流文件 %1。</source>
        <translation>Cannot delete the old dark-current file %1.</translation>
    </message>
    <message>
        <source>明场校正将按工作曝光时间的暗场计算。</source>
        <translation> The bright-field correction will use the dark field at the working exposure time.</translation>
    </message>
    <message>
        <source>暗电流文件 %1 与FPN参数的行列数不符，未加载；明场校正将按工作曝光时间的暗场计算。</source>
        <translation>The dark-current file %1 does not match the rows and columns of the FPN parameters and is not loaded; the bright-field correction will use the dark field at the working exposure time.</translation>
    </message>
    <message>
        <source>校正验证-没有连接上相机。</source>
        <translation>Calibration verification: no camera connected.</translation>
    </message>
    <message>
        <source>校正验证-此相机类型不支持校正验证。</source>
        <translation>Calibration verification: this type of camera does not support calibration verification.</translation>
    </message>
    <message>
        <source>校正验证-设置 Verify/Levels 的值“%1”无效：应为 10 到 95 之间由小到大的饱和百分数，以逗号分隔，如 25,50,80。</source>
        <translation>Calibration verification: the value “%1” of the setting Verify/Levels is not valid: it should be rising saturation percentages from 10 to 95, separated by commas, such as 25,50,80.</translation>
    </message>
    <message>
        <source>校正验证-读取相机校正开关出错，错误原因：%1-%2.</source>
        <translation>Calibration verification: reading the camera&apos;s correction switches failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>校正验证-增益 %1，工作曝光时间 %2 us，黑电平 %3；PRNU 在 %4 饱和下测量，每个平面采集 %5 行。</source>
        <translation>Calibration verification: gain %1, working exposure time %2 us, black level %3; PRNU measured at %4 saturation, %5 lines captured per plane.</translation>
    </message>
    <message>
        <source>校正验证-相机FPN与平场校正均未打开，校正后的数值将与校正前相同。</source>
        <translation>Calibration verification: neither the camera&apos;s FPN nor its flat-field correction is switched on; the figures after correction will be the same as before correction.</translation>
    </message>
    <message>
        <source>校正验证-使能软触发出错，错误原因：%1-%2.</source>
        <translation>Calibration verification: switching the software trigger on failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>校正验证-启动视频流出错，错误原因：%1-%2.</source>
        <translation>Calibration verification: starting the stream failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>校正验证-请盖上镜头盖，使传感器处于完全黑暗中，然后点击“继续”。</source>
        <translation>Calibration verification: put on the lens cap so that the sensor is in complete darkness, then click &quot;Continue&quot;.</translation>
    </message>
    <message>
        <source>校正验证-请取下镜头盖，用均匀光源照亮平场目标，然后点击“继续”。</source>
        <translation>Calibration verification: take off the lens cap and light the flat-field target with an even light source, then click &quot;Continue&quot;.</translation>
    </message>
    <message>
        <source>校正验证-%1% 饱和：曝光时间 %2 us（亮度最高的平面为满量程的 %3%）。</source>
        <translation>Calibration verification: %1% saturation: exposure time %2 us (the brightest plane at %3% of full scale).</translation>
    </message>
    <message>
        <source>校正验证-采集明场图像（%1% 饱和，关闭相机校正）...</source>
        <translation>Calibration verification: capturing bright-field images (%1% saturation, camera corrections off)...</translation>
    </message>
    <message>
        <source>校正验证-采集明场图像（%1% 饱和，相机校正按原设置）...</source>
        <translation>Calibration verification: capturing bright-field images (%1% saturation, camera corrections as set)...</translation>
    </message>
    <message>
        <source>校正验证-采集暗场图像（曝光时间 %1 us，关闭相机校正）...</source>
        <translation>Calibration verification: capturing dark-field images (exposure time %1 us, camera corrections off)...</translation>
    </message>
    <message>
        <source>校正验证-采集暗场图像（曝光时间 %1 us，相机校正按原设置）...</source>
        <translation>Calibration verification: capturing dark-field images (exposure time %1 us, camera corrections as set)...</translation>
    </message>
    <message>
        <source>校正验证-暗场在黑电平抬升 %1 与 %2 后测量，外推到原黑电平。</source>
        <translation>Calibration verification: the dark field was measured with the black level lifted by %1 and %2 and extrapolated to the original black level.</translation>
    </message>
    <message>
        <source>校正验证-%1在曝光时间 %2 us 的暗场被截断为 0（有列超过 1% 的像素为 0），%3：该暗场不可测，相应的 DSNU/PRNU 记为不可测，结论不能为合格。</source>
        <translation>Calibration verification: the dark field of %1 at exposure time %2 us is clipped at 0 (a column has more than 1% of its pixels at 0), %3: this dark field cannot be measured, the DSNU/PRNU that depend on it are recorded as not measurable, and the verdict cannot be pass.</translation>
    </message>
    <message>
        <source>相机的黑电平无法调节</source>
        <translation>the camera&apos;s black level cannot be adjusted</translation>
    </message>
    <message>
        <source>黑电平抬升到上限仍无法消除截断</source>
        <translation>lifting the black level to its limit does not end the clipping</translation>
    </message>
    <message>
        <source>校正验证-恢复相机校正开关出错，错误原因：%1-%2.</source>
        <translation>Calibration verification: restoring the camera&apos;s correction switches failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>校正验证-暗场图像过亮：%1 的最大列均值为 %2（限制 %3），请确认镜头盖已盖好后重试。</source>
        <translation>Calibration verification: the dark-field images are too bright: the largest column mean of %1 is %2 (limit %3). Make sure the lens cap is on, then try again.</translation>
    </message>
    <message>
        <source>校正验证-明场图像过亮：%1 有 %2% 的像素达到满量程（最多允许 0.1%），请降低光源亮度或曝光时间后重试。</source>
        <translation>Calibration verification: the bright-field images are too bright: %1 has %2% of its pixels at full scale (at most 0.1% allowed). Lower the light source&apos;s brightness or the exposure time, then try again.</translation>
    </message>
    <message>
        <source>校正验证-明场与暗场几乎相同：%1 在 %2% 饱和（曝光时间 %3 us）时只比暗场高出饱和值的 %4%（至少需要 10%），请确认测量明场时镜头盖已取下、光源已打开后重试。</source>
        <translation>Calibration verification: the bright field and the dark field are almost the same: at %2% saturation (exposure time %3 us) %1 is only %4% of saturation above the dark field (at least 10% needed). Make sure the lens cap is off and the light source is on for the bright field, then try again.</translation>
    </message>
    <message>
        <source>校正验证-计算残余非均匀性...</source>
        <translation>Calibration verification: calculating the residual non-uniformity...</translation>
    </message>
    <message>
        <source>校正验证-相机设置已恢复。</source>
        <translation>Calibration verification: the camera&apos;s settings are restored.</translation>
    </message>
    <message>
        <source>校正验证-恢复相机设置出错，错误原因：%1-%2.请检查相机的FPN与平场使能、触发方式、图像格式、曝光时间和黑电平。</source>
        <translation>Calibration verification: restoring the camera&apos;s settings failed. Cause: %1-%2. Check the camera&apos;s FPN and flat-field switches, trigger mode, image format, exposure time and black level.</translation>
    </message>
    <message>
        <source>校正验证-校正验证完成，结果：合格。点击确定查看报告。</source>
        <translation>Calibration verification: calibration verification finished, result: pass. Click OK to see the report.</translation>
    </message>
    <message>
        <source>校正验证-校正验证完成，结果：不合格。点击确定查看报告。</source>
        <translation>Calibration verification: calibration verification finished, result: fail. Click OK to see the report.</translation>
    </message>
    <message>
        <source>校正验证-校正验证执行失败，请重试。</source>
        <translation>Calibration verification: the calibration verification failed, please try again.</translation>
    </message>
    <message>
        <source>无</source>
        <translation>none</translation>
    </message>
    <message>
        <source>LSC参数写入相机内存...</source>
        <translation>Writing the LSC parameters into the camera&apos;s memory...</translation>
    </message>
    <message>
        <source>LSC参数存入相机FLASH，请勿断开相机...</source>
        <translation>Storing the LSC parameters in the camera&apos;s FLASH; do not disconnect the camera...</translation>
    </message>
    <message>
        <source>曝光时间搜索中：%1 us 时亮度为 %2（8 位）。</source>
        <translation>Searching the exposure time: brightness %2 (8-bit) at %1 us.</translation>
    </message>
    <message>
        <source>第二次暗场（曝光时间 %1 us）的 %2 有 %3% 的像素为 0（最多允许 1%），暗电平被截断</source>
        <translation>%2 of the second dark field (exposure time %1 us) has %3% of its pixels at 0 (at most 1% allowed): its dark level is clipped</translation>
    </message>
    <message>
        <source>暗场校正-曝光时间无法恢复为 %1 us，错误原因：%2-%3.</source>
        <translation>Dark-field correction: the exposure time cannot be restored to %1 us. Cause: %2-%3.</translation>
    </message>
    <message>
        <source>校正验证-原始图像栈保存在 %1。</source>
        <translation>Calibration verification: the raw stacks are kept in %1.</translation>
    </message>
    <message>
        <source>校正验证-无法创建原始图像栈的文件夹 %1：%2。图像栈不保存，测量照常进行。</source>
        <translation>Calibration verification: the folder for the raw stacks %1 cannot be made: %2. The stacks are not kept; the measurement goes on.</translation>
    </message>
    <message>
        <source>校正验证-保存原始图像栈 %1 出错：%2。此后的图像栈不再保存，测量照常进行。</source>
        <translation>Calibration verification: saving the raw stack %1 failed: %2. No further stacks are kept; the measurement goes on.</translation>
    </message>
    <message>
        <source>校正验证-保存原始图像栈的索引 %1 出错：%2。</source>
        <translation>Calibration verification: saving the index of the raw stacks %1 failed: %2.</translation>
    </message>
    <message>
        <source>图像编码失败</source>
        <translation>the image could not be encoded</translation>
    </message>
    <message>
        <source>暗电流文件 %1 属于这个FPN文件被替换前的版本（上次保存未完成），未加载；明场校正将按工作曝光时间的暗场计算。</source>
        <translation>The dark current file %1 belongs to the version of this FPN file before it was replaced (the last save did not finish); not loaded. The bright field will use the dark at the working exposure.</translation>
    </message>
    <message>
        <source>暗电流文件 %1 不属于这个FPN文件（FPN文件在其后被改动或另行保存过），未加载；明场校正将按工作曝光时间的暗场计算。</source>
        <translation>The dark current file %1 does not belong to this FPN file (the FPN file was changed or saved again after it); not loaded. The bright field will use the dark at the working exposure.</translation>
    </message>
</context>
<context>
    <name>CameraTables</name>
    <message>
        <source>无法创建文档目录 %1/FPN（TELORINE_DOCUMENT_PATH），设置和参数文件无法保存在那里。</source>
        <translation>The document folder %1/FPN (TELORINE_DOCUMENT_PATH) cannot be created; settings and parameter files cannot be saved there.</translation>
    </message>
</context>
<context>
    <name>CliHistory</name>
    <message>
        <source>已发送 %1 条暂存的记录。</source>
        <translation>%1 held record(s) sent.</translation>
    </message>
    <message>
        <source>%1 中共 %2 条记录%3。</source>
        <translation>%2 record(s) in %1%3.</translation>
    </message>
    <message>
        <source>（序列号 %1）</source>
        <translation> (serial number %1)</translation>
    </message>
</context>
<context>
    <name>CliPlan</name>
    <message>
        <source>未知的界面语言 &quot;%1&quot;（可选 zh、en）。</source>
        <translation>Unknown interface language &quot;%1&quot; (choose zh or en).</translation>
    </message>
    <message>
        <source>列出找到的相机</source>
        <translation>list the cameras found</translation>
    </message>
    <message>
        <source>显示相机的型号、传感器、分辨率、增益与曝光范围</source>
        <translation>show the camera&apos;s model, sensor, resolution, gain and exposure range</translation>
    </message>
    <message>
        <source>设置相机的曝光时间 US（微秒），如工位的工作曝光</source>
        <translation>set the camera&apos;s exposure time to US (µs), such as the station&apos;s working exposure</translation>
    </message>
    <message>
        <source>暗场校正（盖上镜头）；--auto-doffset 每个增益自动检测DOffset</source>
        <translation>dark-field correction (lens covered); --auto-doffset finds the DOffset for each gain</translation>
    </message>
    <message>
        <source>明场校正（均匀光照的白色目标）</source>
        <translation>bright-field correction (an evenly lit white target)</translation>
    </message>
    <message>
        <source>将FPN参数写入相机的参数组 SET（如 UserSet0 或 factory）</source>
        <translation>write the FPN parameters into the camera&apos;s parameter set SET (such as UserSet0 or factory)</translation>
    </message>
    <message>
        <source>将FPN参数保存到文件 FILE（缺少时加上 .FAC.FPN）</source>
        <translation>save the FPN parameters to the file FILE (.FAC.FPN added when missing)</translation>
    </message>
    <message>
        <source>从文件 FILE 加载FPN参数</source>
        <translation>load the FPN parameters from the file FILE</translation>
    </message>
    <message>
        <source>平场校正；--goal mean|rate:R|level:L 目标亮度，--write SET 写入相机，--save NAME 保存文件（&lt;型号&gt;.FAC.FFC.NAME）</source>
        <translation>flat-field correction (FFC); --goal mean|rate:R|level:L target brightness, --write SET write into the camera, --save NAME save a file (&lt;model&gt;.FAC.FFC.NAME)</translation>
    </message>
    <message>
        <source>镜头校正；--goal mean|rate:R|level:L 目标亮度，--write SET 写入相机，--save NAME 保存文件（缺少时加上 .LSC.FAC）</source>
        <translation>lens shading correction (LSC); --goal mean|rate:R|level:L target brightness, --write SET write into the camera, --save NAME save a file (.LSC.FAC added when missing)</translation>
    </message>
    <message>
        <source>把写入前的备份文件 BACKUP 写回相机（先备份参数组的当前内容）</source>
        <translation>write the backup file BACKUP, made before a write, back into the camera (the set&apos;s present contents are backed up first)</translation>
    </message>
    <message>
        <source>按配方文件 RECIPE.ini 执行其中的步骤</source>
        <translation>run the steps of the recipe file RECIPE.ini</translation>
    </message>
    <message>
        <source>列出记录数据库中的校正记录；--serial S 只列该序列号的相机，--csv FILE、--json FILE 导出</source>
        <translation>list the calibration records of the record database; --serial S only the camera with that serial number, --csv FILE, --json FILE export</translation>
    </message>
    <message>
        <source>选项 %1 缺少参数。</source>
        <translation>The option %1 lacks its value.</translation>
    </message>
    <message>
        <source>选项 --sdk 的相机库路径为空。</source>
        <translation>The camera library path of --sdk is empty.</translation>
    </message>
    <message>
        <source>--frame-timeout 应为 0 到 86400 之间的秒数，而不是 &quot;%1&quot;。</source>
        <translation>--frame-timeout should be a number of seconds from 0 to 86400, not &quot;%1&quot;.</translation>
    </message>
    <message>
        <source>未知的模拟场景 &quot;%1&quot;（可选 dark、flat、pattern）。</source>
        <translation>Unknown simulated scene &quot;%1&quot; (choose dark, flat or pattern).</translation>
    </message>
    <message>
        <source>步骤 %1 的选项 %2 缺少参数。</source>
        <translation>The option %2 of the step %1 lacks its value.</translation>
    </message>
    <message>
        <source>步骤 %1 需要 %2 个参数。</source>
        <translation>The step %1 needs %2 argument(s).</translation>
    </message>
    <message>
        <source>未知的选项 &quot;%1&quot;。</source>
        <translation>Unknown option &quot;%1&quot;.</translation>
    </message>
    <message>
        <source>未知的步骤 &quot;%1&quot;。</source>
        <translation>Unknown step &quot;%1&quot;.</translation>
    </message>
    <message>
        <source>--sim-scene 之后缺少步骤。</source>
        <translation>A step is missing after --sim-scene.</translation>
    </message>
    <message>
        <source>要连接的相机（友好名称）；缺省为找到的第一台相机</source>
        <translation>the camera to connect to (its friendly name); by default the first camera found</translation>
    </message>
    <message>
        <source>相机库（也可用环境变量 LSX_LIBRARY）；缺省为模拟相机</source>
        <translation>the camera library (or the environment variable LSX_LIBRARY); by default the simulated camera</translation>
    </message>
    <message>
        <source>把每一步的结果、信息、数值和写出的文件写入 JSON 文件</source>
        <translation>write each step&apos;s outcome, messages, figures and written files to a JSON file</translation>
    </message>
    <message>
        <source>不询问操作员（不等待回车），并确认写入相机</source>
        <translation>do not ask the operator (no waiting for Enter), and confirm writes into the camera</translation>
    </message>
    <message>
        <source>相机持续 S 秒没有送出图像时结束该步骤（缺省 30 秒）</source>
        <translation>end the step when the camera sends no image for S seconds (30 by default)</translation>
    </message>
    <message>
        <source>同时在标准错误输出程序的调试日志</source>
        <translation>also print the program&apos;s debug log on standard error</translation>
    </message>
    <message>
        <source>记录中的操作员（缺省为登录名）</source>
        <translation>the operator in the record (by default the login name)</translation>
    </message>
    <message>
        <source>记录数据库：postgresql://主机/数据库名 或 sqlite:文件（缺省为 FPN.ini 的
Records/Url，再缺省为文档目录中的 records.sqlite）</source>
        <translation>the record database: postgresql://host/database or sqlite:file (by default Records/Url
of FPN.ini, else records.sqlite in the documents folder)</translation>
    </message>
    <message>
        <source>界面语言：zh 中文，en 英文；缺省为 FPN.ini 中 [General] 的 Language，再缺省按系统的区域设置</source>
        <translation>interface language: zh Chinese, en English; by default Language under [General] in FPN.ini, else the system&apos;s locale</translation>
    </message>
    <message>
        <source>在下一步之前设置模拟相机的场景：dark、flat 或 pattern（仅模拟相机）</source>
        <translation>set the simulated camera&apos;s scene before the next step: dark, flat or pattern (simulated camera only)</translation>
    </message>
    <message>
        <source>显示本帮助</source>
        <translation>show this help</translation>
    </message>
    <message>
        <source>线扫相机校正工具（命令行）</source>
        <translation>Line-Scan Camera Calibration Tool (command line)</translation>
    </message>
    <message>
        <source>用法:</source>
        <translation>Usage:</translation>
    </message>
    <message>
        <source>选项:</source>
        <translation>Options:</translation>
    </message>
    <message>
        <source>步骤（按给出的顺序执行，共享内存中的校正数据）:</source>
        <translation>Steps (run in the order given, sharing the correction data in memory):</translation>
    </message>
    <message>
        <source>写入相机（write-fpn、ffc --write、lsc --write、restore）之前先把要覆盖的参数组备份到文档文件夹的 backup 文件夹，并要求确认：在终端输入 y，或给出 --yes；相机不能读回的参数组会说明无法备份。结束时相机恢复为打开时的状态，只保持写入的参数组（已使能）及其 DOffset。</source>
        <translation>Before a write into the camera (write-fpn, ffc --write, lsc --write, restore) the parameter set to be overwritten is backed up to the backup folder of the documents folder, and a confirmation is asked for: type y in the terminal, or give --yes; a set the camera cannot read back is said to be impossible to back up. At the end the camera is returned to its state at opening, keeping only the written parameter sets (switched on) and their DOffset.</translation>
    </message>
    <message>
        <source>退出码: 0 全部成功；1 某一步失败、写入相机的参数组在结束时没能保持，或结果文件无法写入；2 用法错误、未知相机或相机库无法加载；3 校正验证未达到限值；130 被 Ctrl-C 取消。</source>
        <translation>Exit codes: 0 all succeeded; 1 a step failed, a set written into the camera could not be kept at the end, or the result file cannot be written; 2 usage error, unknown camera or the camera library cannot be loaded; 3 the calibration verification did not meet its limits; 130 cancelled by Ctrl-C.</translation>
    </message>
    <message>
        <source>没有给出任何步骤。</source>
        <translation>No step given.</translation>
    </message>
    <message>
        <source>无法读取配方文件 &quot;%1&quot;。</source>
        <translation>Cannot read the recipe file &quot;%1&quot;.</translation>
    </message>
    <message>
        <source>配方文件 &quot;%1&quot; 第 %2 行：%3</source>
        <translation>Recipe file &quot;%1&quot;, line %2: %3</translation>
    </message>
    <message>
        <source>节名缺少 &quot;]&quot;。</source>
        <translation>The section name lacks &quot;]&quot;.</translation>
    </message>
    <message>
        <source>未知的节 [%1]。</source>
        <translation>Unknown section [%1].</translation>
    </message>
    <message>
        <source>应为 &quot;键 = 值&quot;。</source>
        <translation>Expected &quot;key = value&quot;.</translation>
    </message>
    <message>
        <source>[camera] 只认 name。</source>
        <translation>[camera] only knows name.</translation>
    </message>
    <message>
        <source>[steps] 只认 step。</source>
        <translation>[steps] only knows step.</translation>
    </message>
    <message>
        <source>配方里不能再用 run。</source>
        <translation>A recipe cannot use run.</translation>
    </message>
    <message>
        <source>键 &quot;%1&quot; 不在任何节中。</source>
        <translation>The key &quot;%1&quot; is in no section.</translation>
    </message>
    <message>
        <source>校正验证（先明场后暗场），超出限值时退出码为 3；--report FILE.json 保存验证报告</source>
        <translation>calibration verification (bright field first, then dark); exit code 3 when a limit is exceeded; --report FILE.json saves the verification report</translation>
    </message>
    <message>
        <source>用校正文件校正图像 IN，写入 OUT（不需要相机）：8/16 位 PNG、TIFF 或原始数据；--gain 相机增益，--region 首列的传感器列号，原始数据的 --width 行宽、--format mono8|mono16|rgb8|bgr8，16 位数据的 --bits 10|12|16</source>
        <translation>correct picture IN with the correction files and write OUT (no camera needed): 8/16-bit PNG, TIFF or raw data; --gain the camera gain, --region the sensor column of the first column, for raw data --width the line width and --format mono8|mono16|rgb8|bgr8, for 16-bit data --bits 10|12|16</translation>
    </message>
    <message>
        <source>。</source>
        <translation>.</translation>
    </message>
    <message>
        <source>配方文件 &quot;%1&quot;：%2</source>
        <translation>Recipe file &quot;%1&quot;: %2</translation>
    </message>
</context>
<context>
    <name>CliRunner</name>
    <message>
        <source>正在写入相机：写入完成后结束。
</source>
        <translation>Writing into the camera: ending when the write is done.
</translation>
    </message>
    <message>
        <source>错误：%1
</source>
        <translation>Error: %1
</translation>
    </message>
    <message>
        <source>已取消。</source>
        <translation>Cancelled.</translation>
    </message>
    <message>
        <source>失败：过程没有完成。</source>
        <translation>Failed: the procedure did not finish.</translation>
    </message>
    <message>
        <source>失败：%1</source>
        <translation>Failed: %1</translation>
    </message>
    <message>
        <source>未达到限值：%1</source>
        <translation>Limits not met: %1</translation>
    </message>
    <message>
        <source>完成。</source>
        <translation>Done.</translation>
    </message>
    <message>
        <source>完成：%1</source>
        <translation>Done: %1</translation>
    </message>
    <message>
        <source>没有发现相机。</source>
        <translation>No camera found.</translation>
    </message>
    <message>
        <source>未找到相机 &quot;%1&quot;（找到：%2）。</source>
        <translation>Camera &quot;%1&quot; not found (found: %2).</translation>
    </message>
    <message>
        <source>、</source>
        <translation>, </translation>
    </message>
    <message>
        <source>相机打开失败，失败原因：%1</source>
        <translation>The camera could not be opened. Cause: %1</translation>
    </message>
    <message>
        <source>已连接相机 %1。</source>
        <translation>Connected to the camera %1.</translation>
    </message>
    <message>
        <source>--sim-scene 只用于模拟相机：当前的相机库不能设置场景。</source>
        <translation>--sim-scene is for the simulated camera only: the present camera library cannot set a scene.</translation>
    </message>
    <message>
        <source>设置模拟场景出错，错误原因：%1-%2.</source>
        <translation>Setting the simulated scene failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>模拟场景：%1</source>
        <translation>Simulated scene: %1</translation>
    </message>
    <message>
        <source>
按回车键继续，Ctrl-C 取消。</source>
        <translation>
Press Enter to continue, Ctrl-C to cancel.</translation>
    </message>
    <message>
        <source>没有操作员的确认（标准输入已关闭）；无人值守时请加 --yes。</source>
        <translation>No confirmation from the operator (standard input is closed); add --yes when unattended.</translation>
    </message>
    <message>
        <source>无法写入设置文件 %1。</source>
        <translation>Cannot write the settings file %1.</translation>
    </message>
    <message>
        <source>曝光时间应在 %1 到 %2 微秒之间，而不是 &quot;%3&quot;。</source>
        <translation>The exposure time should be from %1 to %2 µs, not &quot;%3&quot;.</translation>
    </message>
    <message>
        <source>设置曝光时间出错，错误原因：%1-%2.</source>
        <translation>Setting the exposure time failed. Cause: %1-%2.</translation>
    </message>
    <message>
        <source>曝光时间：%1 us</source>
        <translation>Exposure time: %1 us</translation>
    </message>
    <message>
        <source>暗场校正：请盖上镜头盖，使相机处于完全黑暗中。</source>
        <translation>Dark-field correction: put on the lens cap so that the camera is in complete darkness.</translation>
    </message>
    <message>
        <source>明场校正：请取下镜头盖，对准均匀照明的白色目标。</source>
        <translation>Bright-field correction: take off the lens cap and aim at an evenly lit white target.</translation>
    </message>
    <message>
        <source>没有写入Factory参数权限。</source>
        <translation>No permission to write the factory set.</translation>
    </message>
    <message>
        <source>选择FPN参数组 &quot;%1&quot; 出错，错误原因：%2-%3.</source>
        <translation>Selecting the FPN parameter set &quot;%1&quot; failed. Cause: %2-%3.</translation>
    </message>
    <message>
        <source>保存FPN参数出错，请重试。%1</source>
        <translation>Saving the FPN parameters failed, please try again. %1</translation>
    </message>
    <message>
        <source>FPN参数已保存到 %1</source>
        <translation>FPN parameters saved to %1</translation>
    </message>
    <message>
        <source>加载FPN参数出错，请重试。%1</source>
        <translation>Loading the FPN parameters failed, please try again. %1</translation>
    </message>
    <message>
        <source>已加载FPN参数 %1</source>
        <translation>FPN parameters loaded from %1</translation>
    </message>
    <message>
        <source>未知的步骤 %1。</source>
        <translation>Unknown step %1.</translation>
    </message>
    <message>
        <source>--report 保存 JSON 报告（FILE.json）；PDF 报告请在窗口的校正验证结果中保存。</source>
        <translation>--report saves a JSON report (FILE.json); save a PDF report from the calibration verification&apos;s result in the window.</translation>
    </message>
    <message>
        <source>校正验证没有给出结果。</source>
        <translation>The calibration verification gave no result.</translation>
    </message>
    <message>
        <source>%1：DSNU %2 → %3 DN10，PRNU %4 → %5 %，缺陷列 %6（%7）</source>
        <translation>%1: DSNU %2 → %3 DN10, PRNU %4 → %5 %, defect columns %6 (%7)</translation>
    </message>
    <message>
        <source>合格</source>
        <translation>pass</translation>
    </message>
    <message>
        <source>不合格</source>
        <translation>fail</translation>
    </message>
    <message>
        <source>验证报告已保存到 %1</source>
        <translation>Verification report saved to %1</translation>
    </message>
    <message>
        <source>--goal 应为 mean、rate:R（0 到 1）或 level:L（1 到 255），而不是 &quot;%1&quot;。</source>
        <translation>--goal should be mean, rate:R (0 to 1) or level:L (1 to 255), not &quot;%1&quot;.</translation>
    </message>
    <message>
        <source>请选择正确的写入位置！（可选：%1）</source>
        <translation>Please choose a valid place to write to! (choose from: %1)</translation>
    </message>
    <message>
        <source>平场校正：请对准均匀照明的白色目标。</source>
        <translation>Flat-field correction: aim at an evenly lit white target.</translation>
    </message>
    <message>
        <source>镜头校正：请对准均匀照明的白色目标。</source>
        <translation>Lens shading correction: aim at an evenly lit white target.</translation>
    </message>
    <message>
        <source>写入 %1 ...</source>
        <translation>Writing %1 ...</translation>
    </message>
    <message>
        <source>保存校正参数出错：%1</source>
        <translation>Saving the correction parameters failed: %1</translation>
    </message>
    <message>
        <source>校正参数已保存至 %1</source>
        <translation>Correction parameters saved to %1</translation>
    </message>
    <message>
        <source>目录 %1 不存在</source>
        <translation>the folder %1 does not exist</translation>
    </message>
    <message>
        <source>这是一个目录</source>
        <translation>it is a folder</translation>
    </message>
    <message>
        <source>目录 %1 不可写</source>
        <translation>the folder %1 is not writable</translation>
    </message>
    <message>
        <source>无法写入结果文件 %1：%2。没有执行任何步骤。
</source>
        <translation>Cannot write the result file %1: %2. No step was run.
</translation>
    </message>
    <message>
        <source>文件没有完整写入，磁盘可能已满或超出了文件大小限制</source>
        <translation>the file was not written whole; the disk may be full or the file size limit exceeded</translation>
    </message>
    <message>
        <source>无法写入结果文件 %1：%2。结果没有保存，原有的文件保持不变。
</source>
        <translation>Cannot write the result file %1: %2. The result is not saved; the existing file is left as it was.
</translation>
    </message>
    <message>
        <source>无法备份（%1），写入后不能恢复原有参数。</source>
        <translation>No backup possible (%1): the present parameters cannot be restored after the write.</translation>
    </message>
    <message>
        <source>写入前的内容将备份到 %1。</source>
        <translation>The contents before the write will be backed up to %1.</translation>
    </message>
    <message>
        <source>将覆盖相机 %1 的%2参数组 %3。%4</source>
        <translation>The %2 parameter set %3 of the camera %1 will be overwritten. %4</translation>
    </message>
    <message>
        <source>确认写入请输入 y 并按回车，其他输入取消：</source>
        <translation>To confirm the write type y and press Enter; anything else cancels: </translation>
    </message>
    <message>
        <source>写入相机需要操作员确认，但标准输入已关闭；无人值守时请加 --yes。相机未被改动。</source>
        <translation>A write into the camera needs the operator&apos;s confirmation, but standard input is closed; add --yes when unattended. The camera is unchanged.</translation>
    </message>
    <message>
        <source>没有确认写入，相机未被改动。</source>
        <translation>The write was not confirmed; the camera is unchanged.</translation>
    </message>
    <message>
        <source>。未写入相机。</source>
        <translation>. Nothing written into the camera.</translation>
    </message>
    <message>
        <source>没有写入的参数</source>
        <translation>no written parameters</translation>
    </message>
    <message>
        <source>相机已关闭：保持 %1；其余设置%2。相机现在：FPN参数组 %3（%4）%5。</source>
        <translation>Camera closed: kept %1; the other settings %2. The camera now: FPN parameter set %3 (%4)%5.</translation>
    </message>
    <message>
        <source>恢复为打开时的状态</source>
        <translation>are back as they were at opening</translation>
    </message>
    <message>
        <source>没能恢复为打开时的状态</source>
        <translation>could not be put back as they were at opening</translation>
    </message>
    <message>
        <source>已使能</source>
        <translation>switched on</translation>
    </message>
    <message>
        <source>未使能</source>
        <translation>switched off</translation>
    </message>
    <message>
        <source>，DOffset %1</source>
        <translation>, DOffset %1</translation>
    </message>
    <message>
        <source>apply 需要至少一个校正文件：--fpn、--ffc 或 --lsc。</source>
        <translation>apply needs at least one correction file: --fpn, --ffc or --lsc.</translation>
    </message>
    <message>
        <source>输出文件 %1 就是输入文件：不会覆盖原图。</source>
        <translation>The output file %1 is the input file: the original picture is not overwritten.</translation>
    </message>
    <message>
        <source>--%1 应在 %2 到 %3 之间，而不是 &quot;%4&quot;。</source>
        <translation>--%1 must be between %2 and %3, not &quot;%4&quot;.</translation>
    </message>
    <message>
        <source>--format 应为 mono8、mono16、rgb8 或 bgr8，而不是 &quot;%1&quot;。</source>
        <translation>--format must be mono8, mono16, rgb8 or bgr8, not &quot;%1&quot;.</translation>
    </message>
    <message>
        <source>内存不足。</source>
        <translation>Out of memory.</translation>
    </message>
    <message>
        <source>校正文件无法加载：%1</source>
        <translation>The correction file cannot be loaded: %1</translation>
    </message>
    <message>
        <source>无法读取图像 %1（文件不存在、不是 PNG/TIFF 图像或已损坏）。</source>
        <translation>Cannot read the picture %1 (the file does not exist, is not a PNG/TIFF picture or is damaged).</translation>
    </message>
    <message>
        <source>不支持的图像 %1：%2 通道、%3 位；可校正 8 位或 16 位灰度图和 8 位三通道彩色图。</source>
        <translation>Unsupported picture %1: %2 channels, %3 bits; 8- or 16-bit grey pictures and 8-bit three-channel colour pictures can be corrected.</translation>
    </message>
    <message>
        <source>无法读取 %1：%2</source>
        <translation>Cannot read %1: %2</translation>
    </message>
    <message>
        <source>原始数据 %1 的像素格式未知：请用 --format 给出 mono8、mono16、rgb8 或 bgr8。</source>
        <translation>The pixel format of the raw data %1 is unknown: give mono8, mono16, rgb8 or bgr8 with --format.</translation>
    </message>
    <message>
        <source>原始数据 %1 的行宽未知：请用 --width 给出每行的像素数。</source>
        <translation>The line width of the raw data %1 is unknown: give the pixels per line with --width.</translation>
    </message>
    <message>
        <source>原始数据 %1 有 %2 字节，不是整数行（每行 %3 像素 %4，%5 字节）。</source>
        <translation>The raw data %1 has %2 bytes, not a whole number of lines (%3 pixels of %4 per line, %5 bytes).</translation>
    </message>
    <message>
        <source>无法校正 %1：%2</source>
        <translation>Cannot correct %1: %2</translation>
    </message>
    <message>
        <source>已校正 %1：%2 行 x %3 像素（%4），写入 %5</source>
        <translation>Corrected %1: %2 lines x %3 pixels (%4), written to %5</translation>
    </message>
    <message>
        <source>不可测</source>
        <translation>not measurable</translation>
    </message>
    <message>
        <source>%1% 饱和 %2 us</source>
        <translation>%1% of saturation %2 us</translation>
    </message>
    <message>
        <source>PRNU 测量：%1</source>
        <translation>PRNU measured at: %1</translation>
    </message>
    <message>
        <source>无法保存验证报告 %1（%2）。</source>
        <translation>Cannot save the verification report %1 (%2).</translation>
    </message>
    <message>
        <source>相机没有%1参数组，无法写入相机；可用 --save 保存为文件。</source>
        <translation>The camera has no %1 sets and cannot be written to; --save saves a file instead.</translation>
    </message>
    <message>
        <source>校正库拒绝了 %1：%2</source>
        <translation>The correction library refused %1: %2</translation>
    </message>
    <message>
        <source>原始数据 %1 的像素格式未知：FPN 文件的目标格式 %2 不是 mono8、mono16、rgb8 或 bgr8，请用 --format 给出原始数据的格式。</source>
        <translation>The pixel format of the raw data %1 is not known: the FPN file&apos;s target format %2 is none of mono8, mono16, rgb8 or bgr8; give the raw data&apos;s format with --format.</translation>
    </message>
    <message>
        <source>无法把校正后的图像编码为 %1：%2</source>
        <translation>Cannot encode the corrected picture as %1: %2</translation>
    </message>
    <message>
        <source>无</source>
        <translation>nothing</translation>
    </message>
</context>
<context>
    <name>DarkCurrent</name>
    <message>
        <source>暗电流文件 %1 %2</source>
        <translation>The dark-current file %1 %2</translation>
    </message>
    <message>
        <source>无法读取。</source>
        <translation>cannot be read.</translation>
    </message>
    <message>
        <source>不是 JSON 文件。</source>
        <translation>is not a JSON file.</translation>
    </message>
    <message>
        <source>的格式或版本不对。</source>
        <translation>has the wrong format or version.</translation>
    </message>
    <message>
        <source>属于相机 &quot;%1&quot;，不是 &quot;%2&quot;。</source>
        <translation>belongs to camera &quot;%1&quot;, not &quot;%2&quot;.</translation>
    </message>
    <message>
        <source>的曝光时间或位深无效。</source>
        <translation>has an invalid exposure time or bit depth.</translation>
    </message>
    <message>
        <source>第 %1 行不是数列。</source>
        <translation>has a row %1 that is not a list of numbers.</translation>
    </message>
    <message>
        <source>第 %1 行第 %2 列不是数值。</source>
        <translation>has a value in row %1, column %2 that is not a number.</translation>
    </message>
    <message>
        <source>无法写入暗电流文件 %1：%2。</source>
        <translation>Cannot write the dark-current file %1: %2.</translation>
    </message>
    <message>
        <source>的FPN文件摘要无效。</source>
        <translation>has an invalid FPN file digest.</translation>
    </message>
</context>
<context>
    <name>DarkStats</name>
    <message>
        <source>通道%1</source>
        <translation>channel %1</translation>
    </message>
    <message>
        <source>黑白</source>
        <translation>mono</translation>
    </message>
    <message>
        <source>传感器行%1</source>
        <translation>sensor line %1</translation>
    </message>
</context>
<context>
    <name>FfcFile</name>
    <message>
        <source>当前没有FFC参数可供读取。</source>
        <translation>There are no FFC parameters to read.</translation>
    </message>
    <message>
        <source>FFC参数文件至多保存三个通道，当前有 %1 个。</source>
        <translation>An FFC parameter file holds at most three channels; there are %1.</translation>
    </message>
    <message>
        <source>FFC_%1 有 %2 列增益，而当前ROI宽 %3 列。</source>
        <translation>FFC_%1 has gains for %2 columns, but the present ROI is %3 columns wide.</translation>
    </message>
    <message>
        <source>%1 的增益 %2 不是大于 0 的有限数，不能保存。</source>
        <translation>The gain %2 of %1 is not a finite number above 0 and cannot be saved.</translation>
    </message>
    <message>
        <source>错误</source>
        <translation>Error</translation>
    </message>
    <message>
        <source>版本错误</source>
        <translation>Wrong version</translation>
    </message>
    <message>
        <source>不支持的参数版本号，无法解析及加载。</source>
        <translation>Unsupported parameter version; the file cannot be read or loaded.</translation>
    </message>
    <message>
        <source>参数文件中的ROI无效（%1 = %2），无法加载。</source>
        <translation>The parameter file&apos;s ROI is not valid (%1 = %2); it cannot be loaded.</translation>
    </message>
    <message>
        <source>参数文件中 %1/%2 不是ROI（第 %3 到 %4 列）中的列，无法加载。</source>
        <translation>%1/%2 of the parameter file is not a column of the ROI (columns %3 to %4); it cannot be loaded.</translation>
    </message>
    <message>
        <source>参数文件中 %1 的值无效，无法加载。</source>
        <translation>The value of %1 in the parameter file is not valid; it cannot be loaded.</translation>
    </message>
    <message>
        <source>参数文件有 %1 个通道，而相机的图像有 %2 个通道，无法加载。</source>
        <translation>The parameter file has %1 channel(s), but the camera&apos;s image has %2; it cannot be loaded.</translation>
    </message>
    <message>
        <source>参数文件的ROI（第 %1 列起，宽 %2 列）超出相机的宽度 %3 列。</source>
        <translation>The parameter file&apos;s ROI (from column %1, %2 columns wide) goes beyond the camera&apos;s width of %3 columns.</translation>
    </message>
    <message>
        <source>参数文件不完整：缺少 %1 列的增益（从 %2 起）。
是否加载不完整的参数？缺少的列按增益 1.0 加载。</source>
        <translation>The parameter file is incomplete: the gains of %1 columns are missing (from %2 on).
Load the incomplete parameters? The missing columns are loaded with a gain of 1.0.</translation>
    </message>
</context>
<context>
    <name>FpnFile</name>
    <message>
        <source>大于 %1，至多 %2</source>
        <translation>above %1, at most %2</translation>
    </message>
    <message>
        <source>%1 到 %2</source>
        <translation>%1 to %2</translation>
    </message>
    <message>
        <source>%1的值 %2 不是有限数。</source>
        <translation>The value %2 of %1 is not a finite number.</translation>
    </message>
    <message>
        <source>%1的值 %2 超出 %3 的范围（%4）。</source>
        <translation>The value %2 of %1 is outside the range of %3 (%4).</translation>
    </message>
    <message>
        <source>缺少 %1。</source>
        <translation>%1 is missing.</translation>
    </message>
    <message>
        <source>%1 的值 &quot;%2&quot; 不是整数。</source>
        <translation>The value &quot;%2&quot; of %1 is not a whole number.</translation>
    </message>
    <message>
        <source>Head/Version 为 %1，只能加载版本 1。</source>
        <translation>Head/Version is %1; only version 1 can be loaded.</translation>
    </message>
    <message>
        <source>缺少 Head/Version（只能加载版本 1）。</source>
        <translation>Head/Version is missing (only version 1 can be loaded).</translation>
    </message>
    <message>
        <source>文件属于相机 &quot;%1&quot;（Head/Camera），而当前相机是 &quot;%2&quot;。</source>
        <translation>The file belongs to the camera &quot;%1&quot; (Head/Camera), but the present camera is &quot;%2&quot;.</translation>
    </message>
    <message>
        <source>Head/SupportMLK 的值 &quot;%1&quot; 不是 0、1、false 或 true。</source>
        <translation>The value &quot;%1&quot; of Head/SupportMLK is not 0, 1, false or true.</translation>
    </message>
    <message>
        <source>缺少 Head/SupportMLK。</source>
        <translation>Head/SupportMLK is missing.</translation>
    </message>
    <message>
        <source>文件是多级K的参数（Head/SupportMLK），而当前相机不支持多级K。</source>
        <translation>The file holds multi-level K parameters (Head/SupportMLK), but the present camera does not support multi-level K.</translation>
    </message>
    <message>
        <source>文件不是多级K的参数（Head/SupportMLK），而当前相机支持多级K。</source>
        <translation>The file does not hold multi-level K parameters (Head/SupportMLK), but the present camera supports multi-level K.</translation>
    </message>
    <message>
        <source>文件的区域 Head/X = %1、Head/W = %2 不在相机当前的宽度 %3 列之内（宽度至少 %4 列）。</source>
        <translation>The file&apos;s region Head/X = %1, Head/W = %2 is not within the camera&apos;s present width of %3 columns (a width of at least %4 columns).</translation>
    </message>
    <message>
        <source>Head/W %1 × 高度 %2</source>
        <translation>Head/W %1 × height %2</translation>
    </message>
    <message>
        <source>文件的区域 Head/W = %1 过大。</source>
        <translation>The file&apos;s region Head/W = %1 is too large.</translation>
    </message>
    <message>
        <source>Head/Cols 为 %1 列，而 %2 为 %3 列。</source>
        <translation>Head/Cols is %1 columns, but %2 is %3 columns.</translation>
    </message>
    <message>
        <source>参数组 [%1] 的名字不是 %2 加行号。</source>
        <translation>The name of the group [%1] is not %2 followed by a row number.</translation>
    </message>
    <message>
        <source>参数组 [%1] 重复出现。</source>
        <translation>The group [%1] appears more than once.</translation>
    </message>
    <message>
        <source>缺少参数组 [%1%2]：文件有 %3 个 %1 组，应编号为 0 到 %4。</source>
        <translation>The group [%1%2] is missing: the file has %3 %1 groups, which should be numbered 0 to %4.</translation>
    </message>
    <message>
        <source>文件中没有 B 参数组。</source>
        <translation>The file has no B group.</translation>
    </message>
    <message>
        <source>文件有 %1 行 B 参数，而相机至多 %2 行（每个增益 %3 行，%4 个增益）。</source>
        <translation>The file has %1 rows of B parameters, but the camera takes at most %2 (%3 rows per gain, %4 gains).</translation>
    </message>
    <message>
        <source>文件有 %1 行 B 参数，不是相机每个增益 %2 行的整数倍。</source>
        <translation>The file has %1 rows of B parameters, not a whole multiple of the camera&apos;s %2 rows per gain.</translation>
    </message>
    <message>
        <source>文件有 %1 个 K 参数组，多级K的文件应有 %2 个。</source>
        <translation>The file has %1 K groups; a multi-level K file should have %2.</translation>
    </message>
    <message>
        <source>文件有 %1 行 K 参数，而 B 参数有 %2 行。</source>
        <translation>The file has %1 rows of K parameters, but %2 rows of B parameters.</translation>
    </message>
    <message>
        <source>[%1] 中的键 &quot;%2&quot; 不是列号。</source>
        <translation>The key &quot;%2&quot; in [%1] is not a column number.</translation>
    </message>
    <message>
        <source>[%1] 有第 %2 列，而每行只有 %3 列（%4）。</source>
        <translation>[%1] has a column %2, but each row has only %3 columns (%4).</translation>
    </message>
    <message>
        <source>%1/%2（%3，第 %4 列）</source>
        <translation>%1/%2 (%3, column %4)</translation>
    </message>
    <message>
        <source>%1的值 &quot;%2&quot; 不是数。</source>
        <translation>The value &quot;%2&quot; of %1 is not a number.</translation>
    </message>
    <message>
        <source>[%1] 只有 %2 列，应有 %3 列（%4）：缺少第 %5 列。</source>
        <translation>[%1] has only %2 columns, not %3 (%4): column %5 is missing.</translation>
    </message>
    <message>
        <source>B 第 %1 行</source>
        <translation>B row %1</translation>
    </message>
    <message>
        <source>B 的 %1 行 × %2 列</source>
        <translation>the %1 rows × %2 columns of B</translation>
    </message>
    <message>
        <source>与 [%1] 相同</source>
        <translation>the same as [%1]</translation>
    </message>
    <message>
        <source>K 第 %1 级</source>
        <translation>K level %1</translation>
    </message>
    <message>
        <source>K 第 %1 行</source>
        <translation>K row %1</translation>
    </message>
    <message>
        <source>文件过大：%1 字节，而相机 %2（宽 %3 列）的FPN参数文件至多 %4 字节。</source>
        <translation>The file is too large: %1 bytes, but an FPN parameter file of the camera %2 (%3 columns wide) has at most %4 bytes.</translation>
    </message>
    <message>
        <source>文件 %1 不是可读的参数文件。</source>
        <translation>The file %1 is not a readable parameter file.</translation>
    </message>
    <message>
        <source>没有B参数。</source>
        <translation>There are no B parameters.</translation>
    </message>
    <message>
        <source>K 有 %1 行，而 B 有 %2 行。</source>
        <translation>K has %1 rows, but B has %2.</translation>
    </message>
    <message>
        <source>K 有 %1 个级别，多级K应有 %2 个。</source>
        <translation>K has %1 levels; multi-level K should have %2.</translation>
    </message>
    <message>
        <source>B 第 %1 行有 %2 列，而第 0 行有 %3 列。</source>
        <translation>B row %1 has %2 columns, but row 0 has %3.</translation>
    </message>
    <message>
        <source>B 第 %1 行第 %2 列</source>
        <translation>B row %1, column %2</translation>
    </message>
    <message>
        <source>K 第 %1 行有 %2 列，而应有 %3 列。</source>
        <translation>K row %1 has %2 columns, not %3.</translation>
    </message>
    <message>
        <source>K 第 %1 级第 %2 行第 %3 列</source>
        <translation>K level %1, row %2, column %3</translation>
    </message>
    <message>
        <source>K 第 %1 行第 %2 列</source>
        <translation>K row %1, column %2</translation>
    </message>
</context>
<context>
    <name>FrameSave</name>
    <message>
        <source>没有可保存的图像数据</source>
        <translation>there is no image data to save</translation>
    </message>
    <message>
        <source>图像编码失败</source>
        <translation>the image could not be encoded</translation>
    </message>
</context>
<context>
    <name>HelpDialog</name>
    <message>
        <source>使用说明</source>
        <translation>Instructions</translation>
    </message>
    <message>
        <source>下次不再显示</source>
        <translation>Do not show again</translation>
    </message>
    <message>
        <source>FPN校正</source>
        <translation>FPN correction</translation>
    </message>
    <message>
        <source>平场、镜头与SCS校正</source>
        <translation>Flat field, lens and SCS corrections</translation>
    </message>
    <message>
        <source>校正验证</source>
        <translation>Calibration verification</translation>
    </message>
    <message>
        <source>图像工具与日志</source>
        <translation>Image tools and log</translation>
    </message>
    <message>
        <source>模拟相机与命令行</source>
        <translation>Simulated camera and command line</translation>
    </message>
    <message>
        <source>提示信息</source>
        <translation>Information</translation>
    </message>
    <message>
        <source>已设置启动不显示帮助信息，后续可点击界面左上部分的帮助按钮查看。</source>
        <translation>The help will no longer be shown at start; open it later with the Help button at the top left of the window.</translation>
    </message>
</context>
<context>
    <name>HistogramWidget</name>
    <message>
        <source>没有图像</source>
        <translation>No image</translation>
    </message>
    <message>
        <source>像素数（对数）</source>
        <translation>Pixels (logarithmic)</translation>
    </message>
    <message>
        <source>像素数</source>
        <translation>Pixels</translation>
    </message>
</context>
<context>
    <name>HistogramWindow</name>
    <message>
        <source>平面</source>
        <translation>Plane</translation>
    </message>
    <message>
        <source>均值</source>
        <translation>Mean</translation>
    </message>
    <message>
        <source>标准差</source>
        <translation>Std. dev.</translation>
    </message>
    <message>
        <source>最小</source>
        <translation>Min</translation>
    </message>
    <message>
        <source>最大</source>
        <translation>Max</translation>
    </message>
    <message>
        <source>满量程像素</source>
        <translation>Pixels at full scale</translation>
    </message>
    <message>
        <source>直方图与区域统计</source>
        <translation>Histogram and region statistics</translation>
    </message>
    <message>
        <source>没有图像</source>
        <translation>No image</translation>
    </message>
    <message>
        <source>对数坐标</source>
        <translation>Logarithmic scale</translation>
    </message>
    <message>
        <source>16位（满量程 65472）</source>
        <translation>16-bit (full scale 65472)</translation>
    </message>
    <message>
        <source>8位（满量程 255）</source>
        <translation>8-bit (full scale 255)</translation>
    </message>
    <message>
        <source>统计范围：框选区域 (%1, %2) %3 × %4，%5 个像素；%6</source>
        <translation>Statistics of: the selected region (%1, %2) %3 × %4, %5 pixels; %6</translation>
    </message>
    <message>
        <source>统计范围：整幅图像 %1 × %2；%3</source>
        <translation>Statistics of: the whole image %1 × %2; %3</translation>
    </message>
    <message>
        <source>DN10（16位值 ÷ 64）</source>
        <translation>DN10 (16-bit value ÷ 64)</translation>
    </message>
</context>
<context>
    <name>HistoryWindow</name>
    <message>
        <source>暗场校正</source>
        <translation>dark-field correction</translation>
    </message>
    <message>
        <source>明场校正</source>
        <translation>bright-field correction</translation>
    </message>
    <message>
        <source>写入FPN</source>
        <translation>write FPN</translation>
    </message>
    <message>
        <source>保存FPN参数</source>
        <translation>save FPN parameters</translation>
    </message>
    <message>
        <source>加载FPN参数</source>
        <translation>load FPN parameters</translation>
    </message>
    <message>
        <source>平场校正</source>
        <translation>flat-field correction</translation>
    </message>
    <message>
        <source>写入FFC</source>
        <translation>write FFC</translation>
    </message>
    <message>
        <source>保存FFC参数</source>
        <translation>save FFC parameters</translation>
    </message>
    <message>
        <source>镜头校正</source>
        <translation>lens shading correction</translation>
    </message>
    <message>
        <source>写入LSC</source>
        <translation>write LSC</translation>
    </message>
    <message>
        <source>保存LSC参数</source>
        <translation>save LSC parameters</translation>
    </message>
    <message>
        <source>校正验证</source>
        <translation>calibration verification</translation>
    </message>
    <message>
        <source>保存验证报告</source>
        <translation>save the verification report</translation>
    </message>
    <message>
        <source>曝光时间</source>
        <translation>exposure time</translation>
    </message>
    <message>
        <source>曝光测试</source>
        <translation>exposure test</translation>
    </message>
    <message>
        <source>相机信息</source>
        <translation>camera information</translation>
    </message>
    <message>
        <source>相机列表</source>
        <translation>camera list</translation>
    </message>
    <message>
        <source>配方</source>
        <translation>recipe</translation>
    </message>
    <message>
        <source>成功</source>
        <translation>succeeded</translation>
    </message>
    <message>
        <source>失败</source>
        <translation>failed</translation>
    </message>
    <message>
        <source>已取消</source>
        <translation>cancelled</translation>
    </message>
    <message>
        <source>超出限值</source>
        <translation>limits exceeded</translation>
    </message>
    <message>
        <source>未执行</source>
        <translation>not run</translation>
    </message>
    <message>
        <source>用法错误</source>
        <translation>usage error</translation>
    </message>
    <message>
        <source>合格</source>
        <translation>pass</translation>
    </message>
    <message>
        <source>不合格</source>
        <translation>fail</translation>
    </message>
    <message>
        <source>历史记录</source>
        <translation>History</translation>
    </message>
    <message>
        <source>全部相机</source>
        <translation>All cameras</translation>
    </message>
    <message>
        <source>刷新</source>
        <translation>Refresh</translation>
    </message>
    <message>
        <source>导出CSV</source>
        <translation>Export CSV</translation>
    </message>
    <message>
        <source>相机序列号</source>
        <translation>Camera serial number</translation>
    </message>
    <message>
        <source>开始时间</source>
        <translation>Started</translation>
    </message>
    <message>
        <source>序列号</source>
        <translation>Serial number</translation>
    </message>
    <message>
        <source>工位</source>
        <translation>Station</translation>
    </message>
    <message>
        <source>操作员</source>
        <translation>Operator</translation>
    </message>
    <message>
        <source>来源</source>
        <translation>Source</translation>
    </message>
    <message>
        <source>步骤</source>
        <translation>Steps</translation>
    </message>
    <message>
        <source>结果</source>
        <translation>Outcome</translation>
    </message>
    <message>
        <source>结论</source>
        <translation>Result</translation>
    </message>
    <message>
        <source>%1：%2 条记录</source>
        <translation>%1: %2 record(s)</translation>
    </message>
    <message>
        <source>；%1 条记录等待发送到数据库</source>
        <translation>; %1 record(s) waiting to be sent to the database</translation>
    </message>
    <message>
        <source>%1（%2）</source>
        <translation>%1 (%2)</translation>
    </message>
    <message>
        <source>窗口</source>
        <translation>window</translation>
    </message>
    <message>
        <source>命令行</source>
        <translation>command line</translation>
    </message>
    <message>
        <source>、</source>
        <translation>, </translation>
    </message>
    <message>
        <source>校正后残余非均匀性</source>
        <translation>Residual non-uniformity after correction</translation>
    </message>
    <message>
        <source>残余PRNU (%)</source>
        <translation>Residual PRNU (%)</translation>
    </message>
    <message>
        <source>残余DSNU (DN10)</source>
        <translation>Residual DSNU (DN10)</translation>
    </message>
    <message>
        <source>校正验证（按时间先后）</source>
        <translation>Calibration verifications (in time order)</translation>
    </message>
    <message>
        <source>&lt;h3&gt;%1&#x3000;%2&#x3000;序列号 %3&#x3000;固件版本 %4&lt;/h3&gt;</source>
        <translation>&lt;h3&gt;%1  %2  serial number %3  firmware version %4&lt;/h3&gt;</translation>
    </message>
    <message>
        <source>&lt;p&gt;运行编号 %1&lt;br&gt;工位 %2&#x3000;操作员 %3&#x3000;%4 至 %5（%6 s）&lt;br&gt;结果：%7%8&lt;/p&gt;</source>
        <translation>&lt;p&gt;Run %1&lt;br&gt;Station %2  operator %3  %4 to %5 (%6 s)&lt;br&gt;Outcome: %7%8&lt;/p&gt;</translation>
    </message>
    <message>
        <source>&#x3000;结论：</source>
        <translation>  Result: </translation>
    </message>
    <message>
        <source>&lt;h4&gt;%1 %2（%3%4）&lt;/h4&gt;</source>
        <translation>&lt;h4&gt;%1 %2 (%3%4)&lt;/h4&gt;</translation>
    </message>
    <message>
        <source>，%1 s</source>
        <translation>, %1 s</translation>
    </message>
    <message>
        <source>&lt;p&gt;选项：%1&lt;/p&gt;</source>
        <translation>&lt;p&gt;Options: %1&lt;/p&gt;</translation>
    </message>
    <message>
        <source>，</source>
        <translation>, </translation>
    </message>
    <message>
        <source>无法测量</source>
        <translation>not measurable</translation>
    </message>
    <message>
        <source>&lt;table border=1 cellspacing=0 cellpadding=2&gt;&lt;tr&gt;&lt;th&gt;名称&lt;/th&gt;&lt;th&gt;平面&lt;/th&gt;&lt;th&gt;数值&lt;/th&gt;&lt;/tr&gt;%1&lt;/table&gt;</source>
        <translation>&lt;table border=1 cellspacing=0 cellpadding=2&gt;&lt;tr&gt;&lt;th&gt;Name&lt;/th&gt;&lt;th&gt;Plane&lt;/th&gt;&lt;th&gt;Value&lt;/th&gt;&lt;/tr&gt;%1&lt;/table&gt;</translation>
    </message>
    <message>
        <source>&lt;p&gt;文件 &lt;a href=&quot;%1&quot;&gt;%2&lt;/a&gt;&lt;br&gt;SHA-256 %3&lt;/p&gt;</source>
        <translation>&lt;p&gt;File &lt;a href=&quot;%1&quot;&gt;%2&lt;/a&gt;&lt;br&gt;SHA-256 %3&lt;/p&gt;</translation>
    </message>
    <message>
        <source>（无法读取）</source>
        <translation>(cannot be read)</translation>
    </message>
    <message>
        <source>错误</source>
        <translation>Error</translation>
    </message>
</context>
<context>
    <name>ImageStats</name>
    <message>
        <source>灰度</source>
        <translation>Grey</translation>
    </message>
</context>
<context>
    <name>Language</name>
    <message>
        <source>选项 --lang 的值 &quot;%1&quot; 不是可选的语言（zh、en），忽略该选项。</source>
        <translation>The value &quot;%1&quot; of --lang is not one of the languages (zh, en); the option is ignored.</translation>
    </message>
    <message>
        <source>%1 中 [General] 的 Language 为 &quot;%2&quot;，不是可选的语言（zh、en），忽略该设置。</source>
        <translation>Language under [General] in %1 is &quot;%2&quot;, not one of the languages (zh, en); the setting is ignored.</translation>
    </message>
    <message>
        <source>界面语言：zh 中文，en 英文；缺省为 FPN.ini 中 [General] 的 Language，再缺省按系统的区域设置</source>
        <translation>interface language: zh Chinese, en English; by default Language under [General] in FPN.ini, else the system locale</translation>
    </message>
    <message>
        <source>无法加载程序的英文翻译 %1，界面仍为中文。</source>
        <translation>Cannot load the program&apos;s English translation %1; the interface stays in Chinese.</translation>
    </message>
    <message>
        <source>无法加载 Qt 的翻译 %1，Qt 的对话框和按钮可能不是所选的语言。</source>
        <translation>Cannot load Qt&apos;s translation %1; Qt&apos;s dialogs and buttons may not be in the chosen language.</translation>
    </message>
</context>
<context>
    <name>Loader</name>
    <message>
        <source>未知原因</source>
        <translation>unknown reason</translation>
    </message>
    <message>
        <source>无法加载相机库 &quot;%1&quot;：%2</source>
        <translation>Cannot load the camera library &quot;%1&quot;: %2</translation>
    </message>
    <message>
        <source>相机库 &quot;%1&quot; 缺少函数 %2，无法使用该相机库</source>
        <translation>The camera library &quot;%1&quot; lacks the function %2 and cannot be used</translation>
    </message>
    <message>
        <source>选项 --sdk 没有给出相机库的路径，使用的是 &quot;%1&quot;。</source>
        <translation>The option --sdk gives no camera library path; using &quot;%1&quot;.</translation>
    </message>
</context>
<context>
    <name>LscFit</name>
    <message>
        <source>LSC参数文件至多保存三个通道，当前有 %1 个。</source>
        <translation>An LSC parameter file holds at most three channels; there are %1.</translation>
    </message>
    <message>
        <source>FFC_%1 有 %2 个系数，而应有 8 个。</source>
        <translation>FFC_%1 has %2 coefficients, not 8.</translation>
    </message>
    <message>
        <source>%1 的值 %2 不是有限数，不能保存。</source>
        <translation>The value %2 of %1 is not a finite number and cannot be saved.</translation>
    </message>
    <message>
        <source>不支持的参数版本号，无法解析及加载。</source>
        <translation>Unsupported parameter version; the file cannot be read or loaded.</translation>
    </message>
    <message>
        <source>参数文件中 %1 缺失或无效，无法解析。</source>
        <translation>%1 is missing from the parameter file or not valid; the file cannot be read.</translation>
    </message>
</context>
<context>
    <name>Main</name>
    <message>
        <source>未知的工具 &quot;%1&quot;（可选 FPN、FFC、LSC、SCS），显示第一个工具。</source>
        <translation>Unknown tool &quot;%1&quot; (choose FPN, FFC, LSC or SCS); the first tool is shown.</translation>
    </message>
    <message>
        <source>忽略多余的参数：%1</source>
        <translation>Extra arguments ignored: %1</translation>
    </message>
    <message>
        <source>错误</source>
        <translation>Error</translation>
    </message>
    <message>
        <source>警告</source>
        <translation>Warning</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>线扫相机校正工具</source>
        <translation>Line-Scan Camera Calibration Tool</translation>
    </message>
    <message>
        <source>刷新</source>
        <translation>Refresh</translation>
    </message>
    <message>
        <source>连接</source>
        <translation>Connect</translation>
    </message>
    <message>
        <source>帮助</source>
        <translation>Help</translation>
    </message>
    <message>
        <source>常用功能</source>
        <translation>Common settings</translation>
    </message>
    <message>
        <source>分辨率模式</source>
        <translation>Resolution mode</translation>
    </message>
    <message>
        <source>图像合并模式选择</source>
        <translation>Binning</translation>
    </message>
    <message>
        <source>水平合并模式</source>
        <translation>Horizontal binning</translation>
    </message>
    <message>
        <source>垂直合并模式</source>
        <translation>Vertical binning</translation>
    </message>
    <message>
        <source>曝光时间</source>
        <translation>Exposure time</translation>
    </message>
    <message>
        <source>ROI设置</source>
        <translation>ROI</translation>
    </message>
    <message>
        <source>水平偏移(X)</source>
        <translation>X offset (X)</translation>
    </message>
    <message>
        <source>宽度(W)</source>
        <translation>Width (W)</translation>
    </message>
    <message>
        <source>高度(H)</source>
        <translation>Height (H)</translation>
    </message>
    <message>
        <source>应用</source>
        <translation>Apply</translation>
    </message>
    <message>
        <source>撤销</source>
        <translation>Undo</translation>
    </message>
    <message>
        <source>更多调节</source>
        <translation>More settings</translation>
    </message>
    <message>
        <source>FPN校正</source>
        <translation>FPN correction</translation>
    </message>
    <message>
        <source>校正参数</source>
        <translation>Correction parameters</translation>
    </message>
    <message>
        <source>增益选择</source>
        <translation>Gain</translation>
    </message>
    <message>
        <source>亮度范围</source>
        <translation>Brightness range</translation>
    </message>
    <message>
        <source>—</source>
        <translation>—</translation>
    </message>
    <message>
        <source>调节量</source>
        <translation>Adjustment</translation>
    </message>
    <message>
        <source>Auto</source>
        <translation>Auto</translation>
    </message>
    <message>
        <source>同时进行感光平场(FFC)</source>
        <translation>Also run flat-field correction (FFC)</translation>
    </message>
    <message>
        <source>加载本地FPN参数</source>
        <translation>Load FPN parameters from a file</translation>
    </message>
    <message>
        <source>校正功能</source>
        <translation>Corrections</translation>
    </message>
    <message>
        <source>暗场校正</source>
        <translation>Dark-field correction</translation>
    </message>
    <message>
        <source>明场校正</source>
        <translation>Bright-field correction</translation>
    </message>
    <message>
        <source>相机FPN使能</source>
        <translation>Camera FPN switch</translation>
    </message>
    <message>
        <source>存储</source>
        <translation>Store</translation>
    </message>
    <message>
        <source>用户</source>
        <translation>User</translation>
    </message>
    <message>
        <source>写入</source>
        <translation>Write</translation>
    </message>
    <message>
        <source>导出</source>
        <translation>Export</translation>
    </message>
    <message>
        <source>保存FPN参数到本地</source>
        <translation>Save FPN parameters to a file</translation>
    </message>
    <message>
        <source>软件模拟FPN</source>
        <translation>Software preview of FPN</translation>
    </message>
    <message>
        <source>其它功能</source>
        <translation>Other functions</translation>
    </message>
    <message>
        <source>线扫</source>
        <translation>Line scan</translation>
    </message>
    <message>
        <source>面阵</source>
        <translation>Area scan</translation>
    </message>
    <message>
        <source>原厂FPN使能</source>
        <translation>Factory FPN switch</translation>
    </message>
    <message>
        <source>Sum</source>
        <translation>Sum</translation>
    </message>
    <message>
        <source>长光Sensor滤波使能</source>
        <translation>Gpixel sensor filter switch</translation>
    </message>
    <message>
        <source>自动检测曝光范围，取</source>
        <translation>Find the exposure range automatically and take</translation>
    </message>
    <message>
        <source>个曝光数据</source>
        <translation>exposures</translation>
    </message>
    <message>
        <source>曝光测试</source>
        <translation>Exposure test</translation>
    </message>
    <message>
        <source>平场校正</source>
        <translation>Flat-field correction</translation>
    </message>
    <message>
        <source>加载本地图像</source>
        <translation>Load an image from a file</translation>
    </message>
    <message>
        <source>加载FFC参数</source>
        <translation>Load FFC parameters</translation>
    </message>
    <message>
        <source>FFC功能</source>
        <translation>FFC</translation>
    </message>
    <message>
        <source>目标亮度</source>
        <translation>Target brightness</translation>
    </message>
    <message>
        <source>自定义比例</source>
        <translation>Custom ratio</translation>
    </message>
    <message>
        <source>自定义可选范围为0.5-1.0，表示用 最小值+(最大值-最小值)*自定义值 作为平场校正的目标亮度</source>
        <translation>A custom value from 0.5 to 1.0: the flat-field correction&apos;s target brightness is min + (max - min) * value</translation>
    </message>
    <message>
        <source>平均值</source>
        <translation>Mean</translation>
    </message>
    <message>
        <source>计算图像的平均值用作平场的目标亮度</source>
        <translation>The image&apos;s mean is the flat field&apos;s target brightness</translation>
    </message>
    <message>
        <source>自定义亮度</source>
        <translation>Custom brightness</translation>
    </message>
    <message>
        <source>自定义亮度可选范围为10-255，直接将对应亮度数据作为目标亮度。</source>
        <translation>A custom brightness from 10 to 255, taken directly as the target brightness.</translation>
    </message>
    <message>
        <source>像素采样半径</source>
        <translation>Pixel sampling radius</translation>
    </message>
    <message>
        <source>FFC校正</source>
        <translation>FFC correction</translation>
    </message>
    <message>
        <source>软件模拟FFC</source>
        <translation>Software preview of FFC</translation>
    </message>
    <message>
        <source>显示平场系数</source>
        <translation>Show the flat-field coefficients</translation>
    </message>
    <message>
        <source>保存至本地</source>
        <translation>Save to a file</translation>
    </message>
    <message>
        <source>平场调节系数</source>
        <translation>Flat-field adjustment factors</translation>
    </message>
    <message>
        <source>B: </source>
        <translation>B: </translation>
    </message>
    <message>
        <source>G: </source>
        <translation>G: </translation>
    </message>
    <message>
        <source>R: </source>
        <translation>R: </translation>
    </message>
    <message>
        <source>保存平场调节系数</source>
        <translation>Save the flat-field adjustment factors</translation>
    </message>
    <message>
        <source>镜头校正</source>
        <translation>Lens shading correction</translation>
    </message>
    <message>
        <source>LSC校正功能</source>
        <translation>LSC</translation>
    </message>
    <message>
        <source>LSC校正</source>
        <translation>LSC correction</translation>
    </message>
    <message>
        <source>UserSet0</source>
        <translation>UserSet0</translation>
    </message>
    <message>
        <source>UserSet1</source>
        <translation>UserSet1</translation>
    </message>
    <message>
        <source>UserSet2</source>
        <translation>UserSet2</translation>
    </message>
    <message>
        <source>UserSet3</source>
        <translation>UserSet3</translation>
    </message>
    <message>
        <source>UserSet4</source>
        <translation>UserSet4</translation>
    </message>
    <message>
        <source>UserSet5</source>
        <translation>UserSet5</translation>
    </message>
    <message>
        <source>UserSet6</source>
        <translation>UserSet6</translation>
    </message>
    <message>
        <source>UserSet7</source>
        <translation>UserSet7</translation>
    </message>
    <message>
        <source>UserSet8</source>
        <translation>UserSet8</translation>
    </message>
    <message>
        <source>UserSet9</source>
        <translation>UserSet9</translation>
    </message>
    <message>
        <source>UserSet10</source>
        <translation>UserSet10</translation>
    </message>
    <message>
        <source>UserSet11</source>
        <translation>UserSet11</translation>
    </message>
    <message>
        <source>UserSet12</source>
        <translation>UserSet12</translation>
    </message>
    <message>
        <source>UserSet13</source>
        <translation>UserSet13</translation>
    </message>
    <message>
        <source>UserSet14</source>
        <translation>UserSet14</translation>
    </message>
    <message>
        <source>UserSet15</source>
        <translation>UserSet15</translation>
    </message>
    <message>
        <source>写入相机</source>
        <translation>Write into the camera</translation>
    </message>
    <message>
        <source>软件模拟LSC</source>
        <translation>Software preview of LSC</translation>
    </message>
    <message>
        <source>SCS校正</source>
        <translation>SCS correction</translation>
    </message>
    <message>
        <source>垂直SCS</source>
        <translation>Vertical SCS</translation>
    </message>
    <message>
        <source>水平SCS</source>
        <translation>Horizontal SCS</translation>
    </message>
    <message>
        <source>采图</source>
        <translation>Capture</translation>
    </message>
    <message>
        <source>x</source>
        <translation>x</translation>
    </message>
    <message>
        <source>存图</source>
        <translation>Save image</translation>
    </message>
    <message>
        <source>采集帧率</source>
        <translation>Capture frame rate</translation>
    </message>
    <message>
        <source>图像大小</source>
        <translation>Image size</translation>
    </message>
    <message>
        <source>位置</source>
        <translation>Position</translation>
    </message>
    <message>
        <source>RGB</source>
        <translation>RGB</translation>
    </message>
    <message>
        <source>AVG</source>
        <translation>AVG</translation>
    </message>
    <message>
        <source>MIN</source>
        <translation>MIN</translation>
    </message>
    <message>
        <source>MAX</source>
        <translation>MAX</translation>
    </message>
    <message>
        <source>模拟场景</source>
        <translation>Simulated scene</translation>
    </message>
    <message>
        <source>平场（FFC）</source>
        <translation>flat-field (FFC)</translation>
    </message>
    <message>
        <source>镜头校正（LSC）</source>
        <translation>lens shading correction (LSC)</translation>
    </message>
    <message>
        <source>无法备份：%1。写入后不能恢复原有参数。</source>
        <translation>No backup possible: %1. The present parameters cannot be restored after the write.</translation>
    </message>
    <message>
        <source>写入前该参数组的内容将备份到：
%1
可用“恢复写入前参数”写回。</source>
        <translation>The set&apos;s contents before the write will be backed up to:
%1
Write them back with &quot;Restore the parameters from before the write&quot;.</translation>
    </message>
    <message>
        <source>取消</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>（未连接）</source>
        <translation>(not connected)</translation>
    </message>
    <message>
        <source>将覆盖相机 %1 的%2参数组“%3”。

%4</source>
        <translation>The %2 parameter set &quot;%3&quot; of the camera %1 will be overwritten.

%4</translation>
    </message>
    <message>
        <source>将用 %1 备份的 %2 写回相机 %3 的%4参数组“%5”。

%6</source>
        <translation>The %2 backed up at %1 will be written back into the %4 parameter set &quot;%5&quot; of the camera %3.

%6</translation>
    </message>
    <message>
        <source>恢复写入前参数</source>
        <translation>Restore the parameters from before the write</translation>
    </message>
    <message>
        <source>历史记录</source>
        <translation>History</translation>
    </message>
    <message>
        <source>错误</source>
        <translation>Error</translation>
    </message>
    <message>
        <source>仅三通道彩色图像支持SCS设置。</source>
        <translation>Only three-channel colour images support SCS settings.</translation>
    </message>
    <message>
        <source>写入SCS垂直偏移出错：%1-%2</source>
        <translation>Writing the SCS vertical shift failed: %1-%2</translation>
    </message>
    <message>
        <source>写入SCS水平偏移出错：%1-%2</source>
        <translation>Writing the SCS horizontal shift failed: %1-%2</translation>
    </message>
    <message>
        <source>写入成功</source>
        <translation>Written</translation>
    </message>
    <message>
        <source>写入SCS成功，请查看应用后效果。</source>
        <translation>SCS written; see the effect applied.</translation>
    </message>
    <message>
        <source>LSC保存</source>
        <translation>Save LSC</translation>
    </message>
    <message>
        <source>保存失败</source>
        <translation>Save failed</translation>
    </message>
    <message>
        <source>保存成功</source>
        <translation>Saved</translation>
    </message>
    <message>
        <source>校正参数已保存至&lt;a style=&apos;color: blue;&apos; href=&quot;%1&quot;&gt;%2.</source>
        <translation>Correction parameters saved to &lt;a style=&apos;color: blue;&apos; href=&quot;%1&quot;&gt;%2.</translation>
    </message>
    <message>
        <source>亮度=%1</source>
        <translation>Brightness=%1</translation>
    </message>
    <message>
        <source>亮度=%1 (原始值 %2)</source>
        <translation>Brightness=%1 (raw value %2)</translation>
    </message>
    <message>
        <source>位置:(%1,%2)</source>
        <translation>Position:(%1,%2)</translation>
    </message>
    <message>
        <source>列均值:</source>
        <translation>Column mean:</translation>
    </message>
    <message>
        <source>行最小:</source>
        <translation>Row min:</translation>
    </message>
    <message>
        <source>行最大:</source>
        <translation>Row max:</translation>
    </message>
    <message>
        <source>%1 相机由该步骤占用，实时图像暂停，结束后自动恢复。</source>
        <translation>%1 The step holds the camera; the live image is paused and comes back when it ends.</translation>
    </message>
    <message>
        <source>实时图像已恢复。</source>
        <translation>Live image back.</translation>
    </message>
    <message>
        <source>确认写入相机</source>
        <translation>Confirm the write into the camera</translation>
    </message>
    <message>
        <source>%1 相机由该步骤占用。</source>
        <translation>%1 The step holds the camera.</translation>
    </message>
    <message>
        <source>校正参数已保存至&lt;a style=&apos;color: white;&apos; href=&quot;%1&quot;&gt;%2.</source>
        <translation>Correction parameters saved to &lt;a style=&apos;color: white;&apos; href=&quot;%1&quot;&gt;%2.</translation>
    </message>
    <message>
        <source>灰度</source>
        <translation>Grey</translation>
    </message>
    <message>
        <source>第 %1 行</source>
        <translation>line %1</translation>
    </message>
    <message>
        <source>加载源图</source>
        <translation>Load the source image</translation>
    </message>
    <message>
        <source>无法读取图像文件：%1</source>
        <translation>Cannot read the image file: %1</translation>
    </message>
    <message>
        <source>图像宽度不足%1像素，无法取出平场统计行。</source>
        <translation>The image is narrower than %1 pixels; the flat field&apos;s statistics line cannot be taken.</translation>
    </message>
    <message>
        <source>FFC保存</source>
        <translation>Save FFC</translation>
    </message>
    <message>
        <source>读取失败</source>
        <translation>Read failed</translation>
    </message>
    <message>
        <source>当前没有FFC参数可供读取。</source>
        <translation>There are no FFC parameters to read.</translation>
    </message>
    <message>
        <source>FFC选项错误</source>
        <translation>Wrong FFC choice</translation>
    </message>
    <message>
        <source>请在下拉框选择要导出的FFC参数选项。</source>
        <translation>Choose the FFC parameters to export in the list.</translation>
    </message>
    <message>
        <source>导出FFC</source>
        <translation>Export FFC</translation>
    </message>
    <message>
        <source>当前选项没有FFC参数可供读取。</source>
        <translation>The chosen entry has no FFC parameters to read.</translation>
    </message>
    <message>
        <source>FFC参数加载</source>
        <translation>Load FFC parameters</translation>
    </message>
    <message>
        <source>正在读取FFC参数...</source>
        <translation>Reading the FFC parameters...</translation>
    </message>
    <message>
        <source>操作失败</source>
        <translation>Operation failed</translation>
    </message>
    <message>
        <source>设置ROI失败，失败原因：%1</source>
        <translation>Setting the ROI failed. Cause: %1</translation>
    </message>
    <message>
        <source>参数文件不完整</source>
        <translation>Incomplete parameter file</translation>
    </message>
    <message>
        <source>设置ROI失败，失败原因：%1 - %2</source>
        <translation>Setting the ROI failed. Cause: %1 - %2</translation>
    </message>
    <message>
        <source>加载成功</source>
        <translation>Loaded</translation>
    </message>
    <message>
        <source>加载FFC成功。</source>
        <translation>FFC loaded.</translation>
    </message>
    <message>
        <source>图像通道数与参数通道数不一致，请重新进行平场校正。</source>
        <translation>The image&apos;s channels differ from the parameters&apos; channels; run the flat-field correction again.</translation>
    </message>
    <message>
        <source>平场调节系数 %1 会使%2通道第 %3 列的增益变为 %4，增益必须大于 0，调节未执行。</source>
        <translation>The flat-field adjustment factor %1 would make the gain of channel %2, column %3, %4; a gain must be above 0. Nothing was adjusted.</translation>
    </message>
    <message>
        <source>拉平后%1通道第 %2 列的增益为 %3，增益必须大于 0，调节未执行。</source>
        <translation>After flattening, the gain of channel %1, column %2, would be %3; a gain must be above 0. Nothing was adjusted.</translation>
    </message>
    <message>
        <source>适应窗口</source>
        <translation>Fit to window</translation>
    </message>
    <message>
        <source>显示整幅图像（Ctrl+0）</source>
        <translation>Show the whole image (Ctrl+0)</translation>
    </message>
    <message>
        <source>一个图像像素对应一个屏幕像素（Ctrl+1）</source>
        <translation>One image pixel per screen pixel (Ctrl+1)</translation>
    </message>
    <message>
        <source>存图时在 BMP 旁另存原始数据（16位相机为16位）的格式</source>
        <translation>The format of the raw data saved beside the BMP (16-bit for a 16-bit camera)</translation>
    </message>
    <message>
        <source>框选统计</source>
        <translation>Region statistics</translation>
    </message>
    <message>
        <source>在图像上拖动鼠标框选区域，统计该区域各通道的数值</source>
        <translation>Drag over the image to select a region and see each channel&apos;s figures in it</translation>
    </message>
    <message>
        <source>直方图</source>
        <translation>Histogram</translation>
    </message>
    <message>
        <source>各通道直方图与统计（Ctrl+H）</source>
        <translation>Each channel&apos;s histogram and statistics (Ctrl+H)</translation>
    </message>
    <message>
        <source>日志</source>
        <translation>Log</translation>
    </message>
    <message>
        <source>本次运行的日志（Ctrl+L）</source>
        <translation>This session&apos;s log (Ctrl+L)</translation>
    </message>
    <message>
        <source>使用说明（F1）</source>
        <translation>Instructions (F1)</translation>
    </message>
    <message>
        <source>重新查找相机（F5）</source>
        <translation>Search for cameras again (F5)</translation>
    </message>
    <message>
        <source>保存当前图像（Ctrl+S）</source>
        <translation>Save the present image (Ctrl+S)</translation>
    </message>
    <message>
        <source>操作员：确定</source>
        <translation>Operator: OK</translation>
    </message>
    <message>
        <source>操作员：取消</source>
        <translation>Operator: Cancel</translation>
    </message>
    <message>
        <source>操作员：继续</source>
        <translation>Operator: Continue</translation>
    </message>
    <message>
        <source>采集停止：%1-%2</source>
        <translation>Capture stopped: %1-%2</translation>
    </message>
    <message>
        <source>提示框</source>
        <translation>Message box</translation>
    </message>
    <message>
        <source>%1：%2</source>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>图像饱和：%1 的像素达到满量程（超过 0.1%）</source>
        <translation>Image saturated: %1 of the pixels at full scale (over 0.1%)</translation>
    </message>
    <message>
        <source>，</source>
        <translation>, </translation>
    </message>
    <message>
        <source>图片保存失败：%1</source>
        <translation>Saving the image failed: %1</translation>
    </message>
    <message>
        <source>图片保存至 %1</source>
        <translation>Image saved to %1</translation>
    </message>
    <message>
        <source>原始数据（%1位 %2）：%3</source>
        <translation>Raw data (%1-bit %2): %3</translation>
    </message>
    <message>
        <source>拍摄参数：%1</source>
        <translation>Capture settings: %1</translation>
    </message>
    <message>
        <source>原始数据未能保存：%1（%2）</source>
        <translation>The raw data could not be saved: %1 (%2)</translation>
    </message>
    <message>
        <source>图片保存成功</source>
        <translation>Image saved</translation>
    </message>
    <message>
        <source>相机</source>
        <translation>Camera</translation>
    </message>
    <message>
        <source>已断开：%1</source>
        <translation>Disconnected: %1</translation>
    </message>
    <message>
        <source>已连接：%1</source>
        <translation>Connected: %1</translation>
    </message>
    <message>
        <source>已选中上次连接的相机 %1：点击“连接”或双击即可连接。</source>
        <translation>The camera last connected, %1, is selected: click &quot;Connect&quot; or double-click to connect.</translation>
    </message>
    <message>
        <source>上次连接的相机 %1 不在列表中，请检查连接后点击“刷新”。</source>
        <translation>The camera last connected, %1, is not in the list; check its connection, then click &quot;Refresh&quot;.</translation>
    </message>
    <message>
        <source>校正验证</source>
        <translation>Calibration verification</translation>
    </message>
    <message>
        <source>取消操作。</source>
        <translation>Operation cancelled.</translation>
    </message>
    <message>
        <source>校正参数写入中...</source>
        <translation>Writing the correction parameters...</translation>
    </message>
    <message>
        <source>没有连接上相机。</source>
        <translation>No camera connected.</translation>
    </message>
    <message>
        <source>请选择正确的写入位置！</source>
        <translation>Please choose a valid place to write to!</translation>
    </message>
    <message>
        <source>暗场校正执行中...</source>
        <translation>Dark-field correction running...</translation>
    </message>
    <message>
        <source>明场校正执行中...</source>
        <translation>Bright-field correction running...</translation>
    </message>
    <message>
        <source>没有写入Factory参数权限。</source>
        <translation>No permission to write the factory set.</translation>
    </message>
    <message>
        <source>曝光数据采集中...</source>
        <translation>Capturing exposure data...</translation>
    </message>
    <message>
        <source>加载FPN参数</source>
        <translation>Load FPN parameters</translation>
    </message>
    <message>
        <source>正在读取FPN参数...</source>
        <translation>Reading the FPN parameters...</translation>
    </message>
    <message>
        <source>加载FPN参数出错，请重试。</source>
        <translation>Loading the FPN parameters failed, please try again.</translation>
    </message>
    <message>
        <source>保存FPN参数</source>
        <translation>Save FPN parameters</translation>
    </message>
    <message>
        <source>保存FPN参数出错，请重试。</source>
        <translation>Saving the FPN parameters failed, please try again.</translation>
    </message>
    <message>
        <source>FPN参数已保存至 %1</source>
        <translation>FPN parameters saved to %1</translation>
    </message>
    <message>
        <source>导出FPN参数</source>
        <translation>Export FPN parameters</translation>
    </message>
    <message>
        <source>导出FPN参数出错，请重试。</source>
        <translation>Exporting the FPN parameters failed, please try again.</translation>
    </message>
    <message>
        <source>平场校正执行中...</source>
        <translation>Flat-field correction running...</translation>
    </message>
    <message>
        <source>开始执行平场校正...</source>
        <translation>Starting the flat-field correction...</translation>
    </message>
    <message>
        <source>镜头校正执行中...</source>
        <translation>Lens shading correction running...</translation>
    </message>
    <message>
        <source>开始执行镜头校正...</source>
        <translation>Starting the lens shading correction...</translation>
    </message>
    <message>
        <source>写入前备份 (%1)</source>
        <translation>Backups from before a write (%1)</translation>
    </message>
    <message>
        <source>恢复写入前参数...</source>
        <translation>Restoring the parameters from before the write...</translation>
    </message>
    <message>
        <source>相机打开失败，失败原因：没有发现设备</source>
        <translation>The camera could not be opened. Cause: no device found</translation>
    </message>
    <message>
        <source>断开</source>
        <translation>Disconnect</translation>
    </message>
    <message>
        <source>相机打开失败，失败原因：%1</source>
        <translation>The camera could not be opened. Cause: %1</translation>
    </message>
    <message>
        <source>相机失去连接</source>
        <translation>The camera&apos;s connection was lost</translation>
    </message>
    <message>
        <source>注意</source>
        <translation>Attention</translation>
    </message>
    <message>
        <source>检测到当前选择相机不是线扫型相机，可能是驱动版本太低导致。如果出现软件闪退等问题，请联系售后解决！</source>
        <translation>The selected camera is not detected as a line-scan camera, perhaps because its driver is too old. If the program crashes or misbehaves, please contact after-sales support!</translation>
    </message>
    <message>
        <source>暂停</source>
        <translation>Pause</translation>
    </message>
    <message>
        <source>警告</source>
        <translation>Warning</translation>
    </message>
    <message>
        <source>宽高:[0,0]</source>
        <translation>Size:[0,0]</translation>
    </message>
    <message>
        <source>帧率:%1</source>
        <translation>Frame rate:%1</translation>
    </message>
    <message>
        <source>宽高:[%1,%2]</source>
        <translation>Size:[%1,%2]</translation>
    </message>
    <message>
        <source>校正验证执行中...</source>
        <translation>Calibration verification running...</translation>
    </message>
    <message>
        <source>继续</source>
        <translation>Continue</translation>
    </message>
</context>
<context>
    <name>ParamFile</name>
    <message>
        <source>无法写入文件 %1：%2</source>
        <translation>Cannot write the file %1: %2</translation>
    </message>
    <message>
        <source>文件 %1 不存在。</source>
        <translation>The file %1 does not exist.</translation>
    </message>
    <message>
        <source>无法读取文件 %1。</source>
        <translation>Cannot read the file %1.</translation>
    </message>
    <message>
        <source>文件过大：%1 字节，而参数文件至多 %2 字节。</source>
        <translation>The file is too large: %1 bytes, but a parameter file has at most %2 bytes.</translation>
    </message>
</context>
<context>
    <name>ParamFileDialogs</name>
    <message>
        <source>文件已存在</source>
        <translation>File exists</translation>
    </message>
    <message>
        <source>文件 %1 已存在，是否覆盖？</source>
        <translation>The file %1 exists already. Overwrite it?</translation>
    </message>
</context>
<context>
    <name>ProfileWidget</name>
    <message>
        <source>双击添加固定辅助线</source>
        <translation>Double-click to add a fixed guide line</translation>
    </message>
    <message>
        <source>拉平平场系数</source>
        <translation>Flatten the flat-field coefficients</translation>
    </message>
    <message>
        <source>拉平三通道平场系数</source>
        <translation>Flatten the flat-field coefficients of all three channels</translation>
    </message>
    <message>
        <source>拉平B通道平场系数</source>
        <translation>Flatten the flat-field coefficients of channel B</translation>
    </message>
    <message>
        <source>拉平G通道平场系数</source>
        <translation>Flatten the flat-field coefficients of channel G</translation>
    </message>
    <message>
        <source>拉平R通道平场系数</source>
        <translation>Flatten the flat-field coefficients of channel R</translation>
    </message>
</context>
<context>
    <name>ProgressInfoWidget</name>
    <message>
        <source>FPN执行中...</source>
        <translation>FPN running...</translation>
    </message>
    <message>
        <source>进度</source>
        <translation>Progress</translation>
    </message>
    <message>
        <source>确定</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>取消</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>
错误:%1</source>
        <translation>
Error: %1</translation>
    </message>
</context>
<context>
    <name>RecordExport</name>
    <message>
        <source>无法写入文件 %1（%2）。</source>
        <translation>Cannot write the file %1 (%2).</translation>
    </message>
</context>
<context>
    <name>RecordSpool</name>
    <message>
        <source>不是有效的 JSON（%1，第 %2 字节）</source>
        <translation>not valid JSON (%1, at byte %2)</translation>
    </message>
    <message>
        <source>不是 JSON 对象</source>
        <translation>not a JSON object</translation>
    </message>
    <message>
        <source>共 %1 条记录等待发送，数据库恢复后自动发送</source>
        <translation>%1 record(s) waiting to be sent; they are sent when the database is back</translation>
    </message>
    <message>
        <source>无法创建文件夹 %1</source>
        <translation>cannot create the folder %1</translation>
    </message>
    <message>
        <source>无法写入 %1（%2）</source>
        <translation>cannot write %1 (%2)</translation>
    </message>
    <message>
        <source>暂存记录 %1 无法读取：%2。</source>
        <translation>The held record %1 cannot be read: %2.</translation>
    </message>
    <message>
        <source>%1；%2。</source>
        <translation>%1; %2.</translation>
    </message>
    <message>
        <source>记录无法保存：%1</source>
        <translation>The record cannot be saved: %1</translation>
    </message>
    <message>
        <source>%1；本次记录已暂存在 %2，%3。</source>
        <translation>%1; this run&apos;s record is held in %2, %3.</translation>
    </message>
    <message>
        <source>%1；记录也无法暂存（%2）：本次运行的记录没有保存。</source>
        <translation>%1; the record cannot be held either (%2): this run&apos;s record is not saved.</translation>
    </message>
    <message>
        <source>记录无法暂存（%1）。</source>
        <translation>The record cannot be held (%1).</translation>
    </message>
    <message>
        <source>记录已保存到 %1（运行编号 %2）。</source>
        <translation>Record saved to %1 (run %2).</translation>
    </message>
    <message>
        <source>另有 %1 条暂存的记录已发送。</source>
        <translation>%1 more held record(s) sent.</translation>
    </message>
    <message>
        <source>本次记录已暂存在 %1，%2。</source>
        <translation>This run&apos;s record is held in %1, %2.</translation>
    </message>
</context>
<context>
    <name>RecordStore</name>
    <message>
        <source>记录数据库地址 &quot;%1&quot; 无法使用：%2</source>
        <translation>The record database address &quot;%1&quot; cannot be used: %2</translation>
    </message>
    <message>
        <source>主机地址缺少 &quot;]&quot;。</source>
        <translation>The host address lacks &quot;]&quot;.</translation>
    </message>
    <message>
        <source>参数 &quot;%1&quot; 应为 键=值。</source>
        <translation>The parameter &quot;%1&quot; should be key=value.</translation>
    </message>
    <message>
        <source>参数 &quot;%1&quot; 不能含有 &quot;;&quot;。</source>
        <translation>The parameter &quot;%1&quot; cannot contain &quot;;&quot;.</translation>
    </message>
    <message>
        <source>端口 &quot;%1&quot; 不是 1 到 65535 的数。</source>
        <translation>The port &quot;%1&quot; is not a number from 1 to 65535.</translation>
    </message>
    <message>
        <source>缺少数据库名（postgresql://主机/数据库名）。</source>
        <translation>The database name is missing (postgresql://host/database).</translation>
    </message>
    <message>
        <source>记录数据库地址 &quot;%1&quot; 缺少文件名。</source>
        <translation>The record database address &quot;%1&quot; lacks a file name.</translation>
    </message>
    <message>
        <source>未知的记录数据库地址 &quot;%1&quot;（可用 postgresql://主机/数据库名 或 sqlite:文件）。</source>
        <translation>Unknown record database address &quot;%1&quot; (use postgresql://host/database or sqlite:file).</translation>
    </message>
    <message>
        <source>%1：%2</source>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>记录数据库 %1 的操作失败</source>
        <translation>An operation on the record database %1 failed</translation>
    </message>
    <message>
        <source>记录数据库 %1 的版本 %2 高于本程序支持的版本 %3，请升级本程序；数据库保持不变。</source>
        <translation>The record database %1 is at version %2, newer than version %3 that this program supports; please upgrade the program. The database is left unchanged.</translation>
    </message>
    <message>
        <source>记录数据库 %1 的版本无法读取</source>
        <translation>The version of the record database %1 cannot be read</translation>
    </message>
    <message>
        <source>记录数据库的地址无效。</source>
        <translation>The record database&apos;s address is not valid.</translation>
    </message>
    <message>
        <source>没有 Qt SQL 的 %1 驱动（Debian 包 %2），记录无法保存。</source>
        <translation>Qt SQL&apos;s %1 driver is missing (Debian package %2); records cannot be saved.</translation>
    </message>
    <message>
        <source>无法创建记录数据库的文件夹 %1。</source>
        <translation>Cannot create the record database&apos;s folder %1.</translation>
    </message>
    <message>
        <source>记录数据库 %1 无法打开</source>
        <translation>The record database %1 cannot be opened</translation>
    </message>
    <message>
        <source>记录数据库 %1 无法升级到版本 %2</source>
        <translation>The record database %1 cannot be upgraded to version %2</translation>
    </message>
    <message>
        <source>记录数据库没有打开。</source>
        <translation>The record database is not open.</translation>
    </message>
    <message>
        <source>记录 %1 无法写入记录数据库 %2</source>
        <translation>The record %1 cannot be written to the record database %2</translation>
    </message>
    <message>
        <source>记录数据库 %1 无法读取</source>
        <translation>The record database %1 cannot be read</translation>
    </message>
</context>
<context>
    <name>RunRecord</name>
    <message>
        <source>记录缺少运行编号（runId）。</source>
        <translation>The record lacks its run ID (runId).</translation>
    </message>
    <message>
        <source>记录 %1 缺少开始时间（startedAt）。</source>
        <translation>The record %1 lacks its start time (startedAt).</translation>
    </message>
    <message>
        <source>记录 %1 缺少步骤列表（steps）。</source>
        <translation>The record %1 lacks its list of steps (steps).</translation>
    </message>
</context>
<context>
    <name>SceneControl</name>
    <message>
        <source>模拟场景</source>
        <translation>Simulated scene</translation>
    </message>
    <message>
        <source>盖上镜头盖（暗场）</source>
        <translation>Lens cap on (dark field)</translation>
    </message>
    <message>
        <source>测试图案</source>
        <translation>Test pattern</translation>
    </message>
    <message>
        <source>光照强度 (DN/µs)</source>
        <translation>Light level (DN/µs)</translation>
    </message>
    <message>
        <source>光照斜率</source>
        <translation>Light slope</translation>
    </message>
    <message>
        <source>镜头衰减</source>
        <translation>Lens fall-off</translation>
    </message>
    <message>
        <source>场景设置出错，错误原因：%1-%2.</source>
        <translation>Setting the scene failed. Cause: %1-%2.</translation>
    </message>
</context>
<context>
    <name>SessionLog</name>
    <message>
        <source>无法写入日志文件 %1：%2</source>
        <translation>Cannot write the log file %1: %2</translation>
    </message>
</context>
<context>
    <name>SessionLogWindow</name>
    <message>
        <source>运行日志</source>
        <translation>Session log</translation>
    </message>
    <message>
        <source>自动保存至：%1</source>
        <translation>Saved automatically to: %1</translation>
    </message>
    <message>
        <source>导出</source>
        <translation>Export</translation>
    </message>
    <message>
        <source>日志文件 (*.log *.txt)</source>
        <translation>Log files (*.log *.txt)</translation>
    </message>
    <message>
        <source>错误</source>
        <translation>Error</translation>
    </message>
    <message>
        <source>日志导出失败：%1
%2</source>
        <translation>Exporting the log failed: %1
%2</translation>
    </message>
    <message>
        <source>导出成功</source>
        <translation>Exported</translation>
    </message>
    <message>
        <source>日志已导出至 %1</source>
        <translation>Log exported to %1</translation>
    </message>
    <message>
        <source>导出日志</source>
        <translation>Export the log</translation>
    </message>
</context>
<context>
    <name>SettingRanges</name>
    <message>
        <source>设置 %1 的值 &quot;%2&quot; 不是数，应在 %3 之内</source>
        <translation>The value &quot;%2&quot; of setting %1 is not a number; it should be within %3</translation>
    </message>
    <message>
        <source>设置 %1 的值 &quot;%2&quot; 不是整数，应在 %3 之内</source>
        <translation>The value &quot;%2&quot; of setting %1 is not a whole number; it should be within %3</translation>
    </message>
    <message>
        <source>设置 %1 的值 &quot;%2&quot; 超出范围，应在 %3 之内</source>
        <translation>The value &quot;%2&quot; of setting %1 is out of range; it should be within %3</translation>
    </message>
    <message>
        <source>设置 %1 的值 &quot;%2&quot; 不是有限的数</source>
        <translation>The value &quot;%2&quot; of setting %1 is not a finite number</translation>
    </message>
    <message>
        <source>%1，改用默认值 %2。</source>
        <translation>%1; the default %2 is used instead.</translation>
    </message>
    <message>
        <source>设置 %1 的值 %2 大于 %3 的值 %4：增益范围内没有一个增益，校正不会执行。请把 %1 设为不大于 %3 的值。</source>
        <translation>The value %2 of setting %1 is greater than the value %4 of %3: the gain range holds no gain, so the correction will not run. Set %1 to a value no greater than %3.</translation>
    </message>
    <message>
        <source>。</source>
        <translation>.</translation>
    </message>
</context>
<context>
    <name>StatisticsWidget</name>
    <message>
        <source>曝光统计</source>
        <translation>Exposure statistics</translation>
    </message>
    <message>
        <source>单独一列曝光与亮度的关系</source>
        <translation>Exposure against brightness for one column</translation>
    </message>
    <message>
        <source>选择列</source>
        <translation>Column</translation>
    </message>
    <message>
        <source>显示拟合直线</source>
        <translation>Show the fitted line</translation>
    </message>
    <message>
        <source>显示列均值变化曲线</source>
        <translation>Show the column means&apos; curves</translation>
    </message>
    <message>
        <source>所有列</source>
        <translation>All columns</translation>
    </message>
    <message>
        <source>曝光调节</source>
        <translation>Exposure adjustment</translation>
    </message>
</context>
<context>
    <name>StatusText</name>
    <message>
        <source>ROI功能不支持</source>
        <translation>ROI not supported</translation>
    </message>
    <message>
        <source>设置的ROI参数无效</source>
        <translation>The ROI parameters set are invalid</translation>
    </message>
    <message>
        <source>数据采集正在重启</source>
        <translation>Acquisition is restarting</translation>
    </message>
    <message>
        <source>数据采集已经停止</source>
        <translation>Acquisition already stopped</translation>
    </message>
    <message>
        <source>数据采集已经启动</source>
        <translation>Acquisition already started</translation>
    </message>
    <message>
        <source>数据采集功能已经关闭</source>
        <translation>Acquisition already closed</translation>
    </message>
    <message>
        <source>数据采集功能已经打开</source>
        <translation>Acquisition already opened</translation>
    </message>
    <message>
        <source>未接收到帧结束符</source>
        <translation>No end-of-frame marker received</translation>
    </message>
    <message>
        <source>数据丢失，不完整</source>
        <translation>Data lost, incomplete</translation>
    </message>
    <message>
        <source>数据采集失败，指定的时间内未获得数据</source>
        <translation>Acquisition failed: no data within the time set</translation>
    </message>
    <message>
        <source>读取数据较检失败</source>
        <translation>Checksum of the data read failed</translation>
    </message>
    <message>
        <source>打开文件失败</source>
        <translation>Failed to open the file</translation>
    </message>
    <message>
        <source>写入文件失败</source>
        <translation>Failed to write the file</translation>
    </message>
    <message>
        <source>读取文件失败</source>
        <translation>Failed to read the file</translation>
    </message>
    <message>
        <source>文件格式无效</source>
        <translation>Invalid file format</translation>
    </message>
    <message>
        <source>创建文件失败</source>
        <translation>Failed to create the file</translation>
    </message>
    <message>
        <source>写保护，不可写</source>
        <translation>Write-protected, cannot be written</translation>
    </message>
    <message>
        <source>存储器读写出现误码或无法正常读写</source>
        <translation>Memory read or write error, or the memory cannot be read or written</translation>
    </message>
    <message>
        <source>没有足够系统内存</source>
        <translation>Not enough system memory</translation>
    </message>
    <message>
        <source>设备已经被停止</source>
        <translation>Device already stopped</translation>
    </message>
    <message>
        <source>设备已经被启动</source>
        <translation>Device already started</translation>
    </message>
    <message>
        <source>设备已经被其他主机打开</source>
        <translation>Device already opened by another host</translation>
    </message>
    <message>
        <source>设备已经断开连接</source>
        <translation>Device disconnected</translation>
    </message>
    <message>
        <source>设备已经关闭</source>
        <translation>Device already closed</translation>
    </message>
    <message>
        <source>设备已经打开</source>
        <translation>Device already open</translation>
    </message>
    <message>
        <source>未找到逻辑设备</source>
        <translation>Logical device not found</translation>
    </message>
    <message>
        <source>没有发现设备</source>
        <translation>No device found</translation>
    </message>
    <message>
        <source>传输层错误</source>
        <translation>Transport layer error</translation>
    </message>
    <message>
        <source>链路层错误</source>
        <translation>Link layer error</translation>
    </message>
    <message>
        <source>物理层错误</source>
        <translation>Physical layer error</translation>
    </message>
    <message>
        <source>PCI总线错误</source>
        <translation>PCI bus error</translation>
    </message>
    <message>
        <source>USB总线错误</source>
        <translation>USB bus error</translation>
    </message>
    <message>
        <source>GPIO总线错误</source>
        <translation>GPIO bus error</translation>
    </message>
    <message>
        <source>UART总线错误</source>
        <translation>UART bus error</translation>
    </message>
    <message>
        <source>SPI总线错误</source>
        <translation>SPI bus error</translation>
    </message>
    <message>
        <source>I2C等待总线动作超时，例如SCL被外部器件拉为低电平</source>
        <translation>I2C timed out waiting for the bus, e.g. SCL held low by an external device</translation>
    </message>
    <message>
        <source>I2C等待应答超时</source>
        <translation>I2C timed out waiting for an acknowledge</translation>
    </message>
    <message>
        <source>I2C总线错误</source>
        <translation>I2C bus error</translation>
    </message>
    <message>
        <source>内容无效</source>
        <translation>Invalid content</translation>
    </message>
    <message>
        <source>格式错误</source>
        <translation>Format error</translation>
    </message>
    <message>
        <source>总线错误</source>
        <translation>Bus error</translation>
    </message>
    <message>
        <source>通讯错误</source>
        <translation>Communication error</translation>
    </message>
    <message>
        <source>硬件IO错误</source>
        <translation>Hardware I/O error</translation>
    </message>
    <message>
        <source>超时错误</source>
        <translation>Timeout</translation>
    </message>
    <message>
        <source>不能识别的数据</source>
        <translation>Unrecognised data</translation>
    </message>
    <message>
        <source>只读，不可写</source>
        <translation>Read-only, cannot be written</translation>
    </message>
    <message>
        <source>使用不当</source>
        <translation>Improper use</translation>
    </message>
    <message>
        <source>业务ID无效或不匹配</source>
        <translation>Transaction ID invalid or mismatched</translation>
    </message>
    <message>
        <source>不可用</source>
        <translation>Not available</translation>
    </message>
    <message>
        <source>检查，校验失败</source>
        <translation>Check failed: verification mismatch</translation>
    </message>
    <message>
        <source>数据量不够</source>
        <translation>Not enough data</translation>
    </message>
    <message>
        <source>数据量过载</source>
        <translation>Too much data</translation>
    </message>
    <message>
        <source>数据块大小无效</source>
        <translation>Invalid data block size</translation>
    </message>
    <message>
        <source>地址无效</source>
        <translation>Invalid address</translation>
    </message>
    <message>
        <source>偏移或地址未对齐</source>
        <translation>Offset or address not aligned</translation>
    </message>
    <message>
        <source>操作被拒绝</source>
        <translation>Operation refused</translation>
    </message>
    <message>
        <source>在自动进行中，手动方式无效</source>
        <translation>Automatic mode is running; manual control has no effect</translation>
    </message>
    <message>
        <source>功能无效</source>
        <translation>Function not valid</translation>
    </message>
    <message>
        <source>被限制</source>
        <translation>Restricted</translation>
    </message>
    <message>
        <source>错误的赋值</source>
        <translation>Wrong value</translation>
    </message>
    <message>
        <source>错误的名称</source>
        <translation>Wrong name</translation>
    </message>
    <message>
        <source>错误的描述</source>
        <translation>Wrong description</translation>
    </message>
    <message>
        <source>无效句柄（空句柄或野句柄），通常是相机未打开所致</source>
        <translation>Invalid handle (null or stale), usually because the camera is not open</translation>
    </message>
    <message>
        <source>未准备好</source>
        <translation>Not ready</translation>
    </message>
    <message>
        <source>未停止</source>
        <translation>Not stopped</translation>
    </message>
    <message>
        <source>未启动</source>
        <translation>Not started</translation>
    </message>
    <message>
        <source>设备没打开</source>
        <translation>Device not open</translation>
    </message>
    <message>
        <source>未连接到设备</source>
        <translation>Not connected to a device</translation>
    </message>
    <message>
        <source>特性未打开</source>
        <translation>Feature not enabled</translation>
    </message>
    <message>
        <source>参数越界</source>
        <translation>Parameter out of range</translation>
    </message>
    <message>
        <source>参数无效</source>
        <translation>Invalid parameter</translation>
    </message>
    <message>
        <source>初始化未完成</source>
        <translation>Initialisation not complete</translation>
    </message>
    <message>
        <source>不支持该功能</source>
        <translation>Function not supported</translation>
    </message>
    <message>
        <source>未知错误</source>
        <translation>Unknown error</translation>
    </message>
    <message>
        <source>操作失败</source>
        <translation>Operation failed</translation>
    </message>
    <message>
        <source>操作成功</source>
        <translation>Operation succeeded</translation>
    </message>
    <message>
        <source>正在进行，已经被操作过</source>
        <translation>In progress; already requested</translation>
    </message>
    <message>
        <source>需要等待，可以再次尝试</source>
        <translation>Must wait; try again</translation>
    </message>
    <message>
        <source>正忙，此次操作不能进行</source>
        <translation>Busy; this operation cannot be done now</translation>
    </message>
    <message>
        <source>还须进行下一阶段，只完成了部分动作</source>
        <translation>Partly done; a further stage is needed</translation>
    </message>
    <message>
        <source>需要其他数据和操作</source>
        <translation>Further data or operations are needed</translation>
    </message>
    <message>
        <source>操作忽略掉了，不须要任何动作</source>
        <translation>Operation ignored; nothing to do</translation>
    </message>
</context>
<context>
    <name>VerifyReport</name>
    <message>
        <source>平面：%1</source>
        <translation>Plane: %1</translation>
    </message>
    <message>
        <source>指标</source>
        <translation>Figure</translation>
    </message>
    <message>
        <source>校正前</source>
        <translation>Before correction</translation>
    </message>
    <message>
        <source>校正后</source>
        <translation>After correction</translation>
    </message>
    <message>
        <source>限值</source>
        <translation>Limit</translation>
    </message>
    <message>
        <source>结论</source>
        <translation>Result</translation>
    </message>
    <message>
        <source>校正前缺陷列：%1</source>
        <translation>Defect columns before correction: %1</translation>
    </message>
    <message>
        <source>校正后缺陷列：%1</source>
        <translation>Defect columns after correction: %1</translation>
    </message>
    <message>
        <source>说明：</source>
        <translation>Note: </translation>
    </message>
    <message>
        <source>线扫相机校正验证报告</source>
        <translation>Line-Scan Camera Calibration Verification Report</translation>
    </message>
    <message>
        <source>线扫相机校正工具</source>
        <translation>Line-Scan Camera Calibration Tool</translation>
    </message>
    <message>
        <source>开</source>
        <translation>on</translation>
    </message>
    <message>
        <source>关</source>
        <translation>off</translation>
    </message>
    <message>
        <source>相机：%1&#x3000;&#x3000;型号：%2&#x3000;&#x3000;序列号：%3&#x3000;&#x3000;固件版本：%4</source>
        <translation>Camera: %1    Model: %2    Serial number: %3    Firmware version: %4</translation>
    </message>
    <message>
        <source>校正后测量时相机FPN：%1&#x3000;&#x3000;平场/镜头校正：%2&#x3000;&#x3000;校正前测量时两者均关闭</source>
        <translation>Camera FPN while measuring after correction: %1    Flat-field/lens shading correction: %2    Both off while measuring before correction</translation>
    </message>
    <message>
        <source>依据 EMVA 1288 第 4.0 版的定义（线扫：每列 %1 个时间样本），数值单位 DN10（10 位数据）。</source>
        <translation>As defined by EMVA 1288 release 4.0 (line scan: %1 temporal samples per column); figures in DN10 (10-bit data).</translation>
    </message>
    <message>
        <source>限值：PRNU ≤ %1 %，DSNU ≤ %2 DN10，缺陷列 ≤ %3；缺陷列判定：暗场偏离邻列 %4 DN10 或响应偏离邻列 %5 %。</source>
        <translation>Limits: PRNU ≤ %1 %, DSNU ≤ %2 DN10, defect columns ≤ %3; a defect column is one whose dark field is %4 DN10 or whose response is %5 % away from its neighbours&apos;.</translation>
    </message>
    <message>
        <source>结论：%1</source>
        <translation>Result: %1</translation>
    </message>
    <message>
        <source>平面</source>
        <translation>Plane</translation>
    </message>
    <message>
        <source>DSNU 前</source>
        <translation>DSNU before</translation>
    </message>
    <message>
        <source>DSNU 后</source>
        <translation>DSNU after</translation>
    </message>
    <message>
        <source>PRNU% 前</source>
        <translation>PRNU% before</translation>
    </message>
    <message>
        <source>PRNU% 后</source>
        <translation>PRNU% after</translation>
    </message>
    <message>
        <source>缺陷 前</source>
        <translation>Defects before</translation>
    </message>
    <message>
        <source>缺陷 后</source>
        <translation>Defects after</translation>
    </message>
    <message>
        <source>列均值曲线（%1）</source>
        <translation>Column means (%1)</translation>
    </message>
    <message>
        <source>明场 校正前</source>
        <translation>Bright field before correction</translation>
    </message>
    <message>
        <source>明场 校正后</source>
        <translation>Bright field after correction</translation>
    </message>
    <message>
        <source>暗场 校正前（右轴）</source>
        <translation>Dark field before correction (right axis)</translation>
    </message>
    <message>
        <source>暗场 校正后（右轴）</source>
        <translation>Dark field after correction (right axis)</translation>
    </message>
    <message>
        <source>列</source>
        <translation>Column</translation>
    </message>
    <message>
        <source>明场 DN10</source>
        <translation>Bright field DN10</translation>
    </message>
    <message>
        <source>暗场 DN10</source>
        <translation>Dark field DN10</translation>
    </message>
    <message>
        <source>频谱（%1）</source>
        <translation>Spectrogram (%1)</translation>
    </message>
    <message>
        <source>响应 校正前</source>
        <translation>Response before correction</translation>
    </message>
    <message>
        <source>响应 校正后</source>
        <translation>Response after correction</translation>
    </message>
    <message>
        <source>暗场 校正前</source>
        <translation>Dark field before correction</translation>
    </message>
    <message>
        <source>暗场 校正后</source>
        <translation>Dark field after correction</translation>
    </message>
    <message>
        <source>空间频率（周期/列）</source>
        <translation>Spatial frequency (cycles/column)</translation>
    </message>
    <message>
        <source>缺陷列数</source>
        <translation>Defect columns</translation>
    </message>
    <message>
        <source>暗场均值 μ (DN10)</source>
        <translation>Dark-field mean μ (DN10)</translation>
    </message>
    <message>
        <source>明场均值 μ (DN10)</source>
        <translation>Bright-field mean μ (DN10)</translation>
    </message>
    <message>
        <source>暗场时间噪声 σ (DN10)</source>
        <translation>Dark-field temporal noise σ (DN10)</translation>
    </message>
    <message>
        <source>明场时间噪声 σ (DN10)</source>
        <translation>Bright-field temporal noise σ (DN10)</translation>
    </message>
    <message>
        <source>暗场慢变化峰峰值 (DN10)</source>
        <translation>Dark-field slow-profile peak-to-peak (DN10)</translation>
    </message>
    <message>
        <source>响应慢变化峰峰值 (%)</source>
        <translation>Response slow-profile peak-to-peak (%)</translation>
    </message>
    <message>
        <source>暗场零值像素比例 (%)</source>
        <translation>Dark-field pixels at zero (%)</translation>
    </message>
    <message>
        <source>无</source>
        <translation>none</translation>
    </message>
    <message>
        <source>%1（共 %2 列）</source>
        <translation>%1 (%2 columns)</translation>
    </message>
    <message>
        <source>合格</source>
        <translation>pass</translation>
    </message>
    <message>
        <source>不合格</source>
        <translation>fail</translation>
    </message>
    <message>
        <source>无法写入报告文件 %1。</source>
        <translation>Cannot write the report file %1.</translation>
    </message>
    <message>
        <source>不可测</source>
        <translation>not measurable</translation>
    </message>
    <message>
        <source>日期：%1&#x3000;&#x3000;增益：%2&#x3000;&#x3000;工作曝光时间：%3 us&#x3000;&#x3000;位深：%4 位&#x3000;&#x3000;每平面行数：%5</source>
        <translation>Date: %1    Gain: %2    Working exposure time: %3 us    Bit depth: %4 bits    Lines per plane: %5</translation>
    </message>
    <message>
        <source>（曝光时间由验证设定，结束后恢复）；DSNU 在工作曝光时间下测量。</source>
        <translation> (exposure times set by the verification and put back at its end); DSNU measured at the working exposure time.</translation>
    </message>
    <message>
        <source>幅度（暗场 DN10，响应 %）</source>
        <translation>Amplitude (dark DN10, response %)</translation>
    </message>
    <message>
        <source>PRNU1288 @ %1% 饱和，%2 us (%)</source>
        <translation>PRNU1288 @ %1%, %2 us (%)</translation>
    </message>
    <message>
        <source>%1暗场输出有 %2% 的像素为 0，黑电平无法抬升到消除截断：DSNU 不可测，结论不能为合格。</source>
        <translation>%1: %2% of the dark output pixels are 0 and the black level cannot be lifted far enough to end the clipping: DSNU not measurable, the verdict cannot be a pass.</translation>
    </message>
    <message>
        <source>%1暗场输出有 %2% 的像素为 0：DSNU 在黑电平抬升 %3 与 %4 后测量（每列为 0 的像素不超过 %5%），外推到原黑电平。</source>
        <translation>%1: %2% of the dark output pixels are 0: DSNU measured with the black level lifted by %3 and %4 (at most %5% of each column at 0) and extrapolated back to the black level as found.</translation>
    </message>
    <message>
        <source>%1% 饱和 %2 us</source>
        <translation>%1% of saturation %2 us</translation>
    </message>
    <message>
        <source>PRNU 测量：%1</source>
        <translation>PRNU measured at: %1</translation>
    </message>
    <message>
        <source>、</source>
        <translation>, </translation>
    </message>
    <message>
        <source>响应行 PRNU (%)</source>
        <translation>Response-row PRNU (%)</translation>
    </message>
    <message>
        <source>响应行 PRNU @ %1% 饱和，%2 us (%)</source>
        <translation>Response-row PRNU @ %1%, %2 us (%)</translation>
    </message>
    <message>
        <source>响应行形状随亮度的变化 (%)</source>
        <translation>Response shape change over levels (%)</translation>
    </message>
    <message>
        <source>%1在 %2% 饱和处 PRNU1288 为 %3，响应行 PRNU 为 %4：暗场的列图案与明场的不同，方差之差不成立，判定取响应行 PRNU。</source>
        <translation>%1 at %2% of saturation: PRNU1288 %3, response-row PRNU %4. The dark&apos;s column pattern differs from the bright one&apos;s, so the difference of variances does not hold; the verdict takes the response-row PRNU.</translation>
    </message>
</context>
<context>
    <name>VerifyWindow</name>
    <message>
        <source>校正验证结果</source>
        <translation>Calibration verification result</translation>
    </message>
    <message>
        <source>平面</source>
        <translation>Plane</translation>
    </message>
    <message>
        <source>指标</source>
        <translation>Figure</translation>
    </message>
    <message>
        <source>校正前</source>
        <translation>Before correction</translation>
    </message>
    <message>
        <source>校正后</source>
        <translation>After correction</translation>
    </message>
    <message>
        <source>限值</source>
        <translation>Limit</translation>
    </message>
    <message>
        <source>结论</source>
        <translation>Result</translation>
    </message>
    <message>
        <source>保存报告</source>
        <translation>Save report</translation>
    </message>
    <message>
        <source>关闭</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>缺陷列与说明</source>
        <translation>Defect columns and notes</translation>
    </message>
    <message>
        <source>开</source>
        <translation>on</translation>
    </message>
    <message>
        <source>关</source>
        <translation>off</translation>
    </message>
    <message>
        <source>结论：%1</source>
        <translation>Result: %1</translation>
    </message>
    <message>
        <source>（不合格）</source>
        <translation> (fail)</translation>
    </message>
    <message>
        <source>校正前：%1
校正后：%2</source>
        <translation>Before correction: %1
After correction: %2</translation>
    </message>
    <message>
        <source>

说明：</source>
        <translation>

Note: </translation>
    </message>
    <message>
        <source>校正验证_%1_%2_%3.pdf</source>
        <translation>verification_%1_%2_%3.pdf</translation>
    </message>
    <message>
        <source>错误</source>
        <translation>Error</translation>
    </message>
    <message>
        <source>相机 %1&#x3000;型号 %2&#x3000;序列号 %3&#x3000;固件版本 %4
%5&#x3000;增益 %6&#x3000;工作曝光时间 %7 us&#x3000;%8 位&#x3000;每平面 %9 行&#x3000;</source>
        <translation>Camera %1  Model %2  Serial %3  Firmware %4
%5  Gain %6  Working exposure time %7 us  %8 bits  %9 lines per plane  </translation>
    </message>
    <message>
        <source>校正后：相机FPN %1，平场/镜头校正 %2
</source>
        <translation>After correction: camera FPN %1, flat field/lens shading %2
</translation>
    </message>
</context>
</TS>
